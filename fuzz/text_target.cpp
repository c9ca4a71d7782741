// Reads strings between delimiters from any text, with a buffer as large as the routine asks for.

#include <vector>

#include "fuzz/scratch_file.h"
#include "stats/text_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const std::string path = fuzz::write_scratch("in.txt", {reinterpret_cast<const char*>(data) + 2, size - 2});
    std::FILE* file = std::fopen(path.c_str(), "rb");
    const int maxlen = static_cast<signed char>(data[1]);
    // The longest string of the file and one character, and at least maxlen + 1.
    std::vector<char> buffer(size + 129);
    for (std::size_t strings = 0;
         strings < size && getNextString(static_cast<char>(data[0]), buffer.data(), file, maxlen) == 1; ++strings) {
    }
    std::fclose(file);
    return 0;
}
