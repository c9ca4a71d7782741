#include "fileio/save_target.h"

#include <filesystem>
#include <system_error>

namespace fileio {

bool open_target(std::fstream& stream, const char* fileName) {
    std::error_code error;
    if (std::filesystem::is_fifo(fileName, error)) {
        return false;
    }
    stream.open(fileName, std::ios::out | std::ios::binary | std::ios::trunc);
    return stream.is_open();
}

bool may_be_backing_file(const transio_struct* view, const char* target) {
    std::error_code error;
    if (!std::filesystem::exists(view->fileName, error)) {
        return std::filesystem::exists(target, error);
    }
    return std::filesystem::equivalent(view->fileName, target, error);
}

void remove_incomplete(const char* fileName) {
    std::error_code error;
    const std::filesystem::path file = std::filesystem::canonical(fileName, error);
    if (!error && std::filesystem::is_regular_file(file, error)) {
        std::filesystem::remove(file, error);
    }
}

} // namespace fileio
