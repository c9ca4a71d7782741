#pragma once

#include <string>

namespace workbench {

/// A word as a shell takes it: in single quotes where it would otherwise be split or read as something else.
inline std::string shell_quoted(const std::string& text) {
    const bool plain =
        text.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._/-+=,") ==
        std::string::npos;
    if (plain && !text.empty()) {
        return text;
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

} // namespace workbench
