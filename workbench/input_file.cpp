#include "workbench/input_file.h"

#include <cerrno>
#include <cstring>
#include <system_error>

#include "workbench/input_error.h"

namespace workbench {

std::ifstream open_input_file(const std::filesystem::path& file, bool buffered) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        throw InputError(file.string() + ": no such file");
    }
    if (status.type() == std::filesystem::file_type::none) {
        throw InputError(file.string() + ": cannot be opened (" + error.message() + ")");
    }
    if (std::filesystem::is_directory(status)) {
        throw InputError(file.string() + ": is a folder, not a file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw InputError(file.string() + ": is not a regular file");
    }
    std::ifstream stream;
    if (!buffered) {
        stream.rdbuf()->pubsetbuf(nullptr, 0);
    }
    errno = 0;
    stream.open(file, std::ios::binary);
    if (!stream) {
        throw InputError(file.string() + ": cannot be opened (" + std::strerror(errno) + ")");
    }
    return stream;
}

std::size_t utf8_length(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : static_cast<unsigned char>(0);
    };
    const auto continues = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
    const unsigned char first = byte(at);
    const unsigned char second = byte(at + 1);
    if (at >= text.size()) {
        return 0;
    }
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first <= 0xDF) {
        return continues(at + 1) ? 2 : 0;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        const bool shortestForm = first != 0xE0 || second >= 0xA0;
        const bool noSurrogate = first != 0xED || second < 0xA0;
        return continues(at + 1) && continues(at + 2) && shortestForm && noSurrogate ? 3 : 0;
    }
    if (first >= 0xF0 && first <= 0xF4) {
        const bool shortestForm = first != 0xF0 || second >= 0x90;
        const bool inRange = first != 0xF4 || second < 0x90;
        return continues(at + 1) && continues(at + 2) && continues(at + 3) && shortestForm && inRange ? 4 : 0;
    }
    return 0;
}

bool is_control(const std::string& text, std::size_t at) {
    const auto first = static_cast<unsigned char>(text[at]);
    if (first < 0x20 || first == 0x7F) {
        return true;
    }
    return first == 0xC2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0;
}

std::string printable(const std::string& text) {
    constexpr std::size_t limit = 60;
    std::string result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8_length(text, at);
        if (result.size() + (length == 0 ? 1 : length) > limit) {
            return result + "...";
        }
        if (length == 0 || is_control(text, at)) {
            result += '?';
        } else {
            result.append(text, at, length);
        }
        at += length == 0 ? 1 : length;
    }
    return result;
}

} // namespace workbench
