#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>

namespace workbench::exchange {

/// A file of samples: its size, and bytes from anywhere in it.
class BinaryFile {
public:
    /// Throws InputError when it cannot be opened.
    explicit BinaryFile(const std::filesystem::path& file);

    std::uint64_t size() const { return size_; }
    /// Reads `bytes` bytes from `position`. Throws InputError when they are not there.
    void read(std::uint64_t position, std::uint64_t bytes, char* dest);

private:
    std::filesystem::path path_;
    std::ifstream stream_;
    std::uint64_t size_ = 0;
};

} // namespace workbench::exchange
