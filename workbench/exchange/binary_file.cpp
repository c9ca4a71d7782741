#include "workbench/exchange/binary_file.h"

#include <string>

#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

BinaryFile::BinaryFile(const std::filesystem::path& file) : path_(file), stream_(open_input_file(file, false)) {
    const std::streamoff end = stream_.seekg(0, std::ios::end).tellg();
    if (end < 0) {
        throw InputError(path_.string() + ": cannot be read");
    }
    size_ = static_cast<std::uint64_t>(end);
}

void BinaryFile::read(std::uint64_t position, std::uint64_t bytes, char* dest) {
    stream_.clear();
    stream_.seekg(static_cast<std::streamoff>(position));
    if (!stream_.read(dest, static_cast<std::streamsize>(bytes))) {
        throw InputError(path_.string() + ": cannot be read (has it become shorter?)");
    }
}

} // namespace workbench::exchange
