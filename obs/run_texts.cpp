#include "obs/run_texts.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "obs/classic_locale.h"

namespace {

// One conversion of a format text, taken apart.
struct Conversion {
    std::string flags;
    std::size_t width = 0;
    bool hasPrecision = false;
    std::size_t precision = 0;
    char type = '\0';
    std::size_t length = 0; // characters it takes in the format, the percent sign included
};

bool one_of(char c, const char* set) {
    return c != '\0' && std::strchr(set, c) != nullptr;
}

// Reads digits, or an asterisk, whose missing argument counts as 0. Larger numbers count as the limit.
std::size_t read_number(const std::string& text, std::size_t& at, std::size_t limit) {
    std::size_t number = 0;
    if (at < text.size() && text[at] == '*') {
        ++at;
        return 0;
    }
    while (at < text.size() && one_of(text[at], "0123456789")) {
        number = std::min(limit, number * 10 + static_cast<std::size_t>(text[at] - '0'));
        ++at;
    }
    return number;
}

Conversion read_conversion(const std::string& text, std::size_t start, std::size_t limit) {
    Conversion c;
    std::size_t at = start + 1;
    const std::size_t digitsEnd = text.find_first_not_of("0123456789", at);
    if (digitsEnd != at && digitsEnd != std::string::npos && text[digitsEnd] == '$') {
        at = digitsEnd + 1; // the number of the argument, which is missing like all others
    }
    while (at < text.size() && one_of(text[at], "-+ #0'I")) {
        if (one_of(text[at], "-+ #0")) {
            c.flags += text[at];
        }
        ++at;
    }
    c.width = read_number(text, at, limit);
    if (at < text.size() && text[at] == '.') {
        ++at;
        c.hasPrecision = true;
        c.precision = read_number(text, at, limit);
    }
    while (at < text.size() && one_of(text[at], "hlqjztL")) {
        ++at;
    }
    if (at < text.size() && one_of(text[at], "diouxXbBeEfFgGaAcCsSpn%")) {
        c.type = text[at];
        ++at;
    }
    c.length = at - start;
    return c;
}

// The conversion applied to a zero of its type.
std::string zero_formatted(const Conversion& c, std::size_t limit) {
    const bool isText = one_of(c.type, "cCsS");
    std::string format = "%" + c.flags;
    if (c.width != 0) {
        format += std::to_string(c.width);
    }
    if (c.hasPrecision && !isText && c.type != 'p') {
        format += "." + std::to_string(c.precision);
    }
    const obs::ClassicLocale classic;
    std::vector<char> buffer(2 * limit + 400); // the widest field and precision, and the digits of a double
    if (isText) {
        format += 's';
        std::snprintf(buffer.data(), buffer.size(), format.c_str(), "");
    } else if (c.type == 'p') {
        format += 'p';
        std::snprintf(buffer.data(), buffer.size(), format.c_str(), static_cast<void*>(nullptr));
    } else if (one_of(c.type, "eEfFgGaA")) {
        format += c.type;
        std::snprintf(buffer.data(), buffer.size(), format.c_str(), 0.0);
    } else {
        format += one_of(c.type, "bB") ? 'u' : c.type;
        std::snprintf(buffer.data(), buffer.size(), format.c_str(), 0);
    }
    return buffer.data();
}

} // namespace

namespace obs {

std::string field_text(const char* field, std::size_t fieldSize) {
    return std::string(field, strnlen(field, fieldSize));
}

std::string formatted_without_arguments(const std::string& format, std::size_t capacity) {
    const std::size_t limit = capacity - 1;
    std::string result;
    std::size_t at = 0;
    while (at < format.size() && result.size() < limit) {
        if (format[at] != '%') {
            result += format[at++];
            continue;
        }
        const Conversion c = read_conversion(format, at, limit);
        if (c.type == '%') {
            result += '%';
        } else if (c.type == '\0') {
            result += format.substr(at, c.length);
        } else if (c.type != 'n') {
            result += zero_formatted(c, limit);
        }
        if (one_of(c.type, "cC")) {
            // The character 0 ends the text. Its field is one blank wider than that of an empty text.
            if (c.width > 0 && c.flags.find('-') == std::string::npos) {
                result.pop_back();
            } else {
                result.resize(result.size() - c.width);
            }
            break;
        }
        at += c.length;
    }
    result.resize(std::min(result.size(), limit));
    return result;
}

} // namespace obs
