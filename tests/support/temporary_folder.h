#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace support {

/// The bytes of a file; empty when it cannot be read.
inline std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline void write_file(const std::string& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path);
    }
}

/// A fresh folder of its own for a test, removed with everything in it at the end.
class TemporaryFolder {
public:
    enum class Use { asFolder, asCurrentDirectory };

    explicit TemporaryFolder(Use use = Use::asFolder) {
        std::string name = (std::filesystem::temp_directory_path() / "oridan_test_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("cannot make " + name);
        }
        folder = name;
        if (use == Use::asCurrentDirectory) {
            previous = std::filesystem::current_path();
            std::filesystem::current_path(folder);
        }
    }

    ~TemporaryFolder() {
        std::error_code ignored;
        if (!previous.empty()) {
            std::filesystem::current_path(previous, ignored);
        }
        std::filesystem::remove_all(folder, ignored);
    }

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string path() const { return folder.string(); }
    std::string path(const std::string& name) const { return (folder / name).string(); }

    /// Writes a file into the folder. @return its path.
    std::string write(const std::string& name, std::string_view bytes) const {
        write_file(path(name), bytes);
        return path(name);
    }

    std::string read(const std::string& name) const { return read_file(path(name)); }
    bool has(const std::string& name) const { return std::filesystem::exists(path(name)); }

private:
    std::filesystem::path folder;
    std::filesystem::path previous;
};

} // namespace support
