// Reads any bytes as a CVX file, saves it and reads that back.

#include "fileio/cvx.h"
#include "fuzz/scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string path = fuzz::write_scratch("in.cvx", {reinterpret_cast<const char*>(data), size});
    CVXStruct* cvx = ReadCVX(path.c_str());
    if (cvx == nullptr) {
        return 0;
    }
    const std::string copy = fuzz::scratch_folder() + "/out.cvx";
    if (WriteCVX(cvx, copy.c_str()) == 1) {
        CVXStruct* again = ReadCVX(copy.c_str());
        fuzz::require(again != nullptr, "what was written can be read");
        fuzz::require(again->MatrixOrder == cvx->MatrixOrder, "and is the same");
        FreeCVX(&again);
    }
    FreeCVX(&cvx);
    return 0;
}
