#include "workbench/exchange/text_encoding.h"

#include <algorithm>

#include "workbench/input_file.h"

namespace workbench::exchange {

bool is_utf8(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8_length(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

std::string as_utf8(const std::string& text) {
    if (is_utf8(text)) {
        return text;
    }
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            result += c;
        } else {
            result += static_cast<char>(0xC0 | (byte >> 6));
            result += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return result;
}

std::string trimmed(const std::string& text) {
    const std::string blanks(" \t\r\0", 4);
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string lower_case(const std::string& text) {
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

std::string cut_to(const std::string& text, std::size_t bytes) {
    std::size_t end = 0;
    while (end < text.size()) {
        const std::size_t length = std::max<std::size_t>(1, utf8_length(text, end));
        if (end + length > bytes) {
            break;
        }
        end += length;
    }
    return text.substr(0, end);
}

} // namespace workbench::exchange
