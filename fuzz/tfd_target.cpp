// Reads any bytes as a TFD file, loads tensors, writes them back and saves the structure.

#include <algorithm>

#include <fuzzer/FuzzedDataProvider.h>

#include "fileio/tfd.h"
#include "fuzz/scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider choices(data, size);
    const bool keepStructure = choices.ConsumeBool();
    const unsigned int writes = choices.ConsumeIntegralInRange<unsigned int>(0, 4);
    const std::string path = fuzz::write_scratch("in.tfd", choices.ConsumeRemainingBytesAsString());
    TFDStruct* tfd = ReadTFD(path.c_str());
    if (tfd == nullptr) {
        return 0;
    }
    const unsigned int pairs = std::min(tfd->NrOfTensorPairs, 16U);
    for (unsigned int i = 0; i < pairs; ++i) {
        TFDTensorStruct& pair = tfd->Tensors[i];
        if (TFDReadTensor(&pair) == 1) {
            fuzz::require(pair.FirstData != nullptr && pair.SecondData != nullptr, "a read tensor has both arrays");
            if (i < writes) {
                pair.FirstData[0] += 1.0f;
                TFDWriteTensor(&pair);
            }
        }
    }
    WriteTFD(tfd, (fuzz::scratch_folder() + "/out.tfd").c_str());
    for (unsigned int i = 0; i < pairs; ++i) {
        TFDFreeTensor(&tfd->Tensors[i]);
    }
    FreeTFD(&tfd, keepStructure ? 1 : 0);
    if (keepStructure) {
        FreeTFD(&tfd, 0);
    }
    return 0;
}
