#pragma once

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <zlib.h>

/// Reads packed series back as their description says, independently of the code that packs them.
namespace test {

inline std::vector<unsigned char> from_base64(const std::string& text) {
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<unsigned char> bytes;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        if (c == '=') {
            break;
        }
        const std::size_t digit = digits.find(c);
        if (digit == std::string::npos) {
            throw std::runtime_error("not base64");
        }
        bits = bits << 6 | static_cast<std::uint32_t>(digit);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<unsigned char>(bits >> count & 0xFFU));
        }
    }
    return bytes;
}

inline std::vector<std::int16_t> unpacked(const std::string& text) {
    const std::vector<unsigned char> compressed = from_base64(text);
    std::vector<unsigned char> bytes(1 << 22);
    uLongf size = bytes.size();
    if (uncompress(bytes.data(), &size, compressed.data(), compressed.size()) != Z_OK) {
        throw std::runtime_error("not deflated");
    }
    const std::size_t count = (size - 1) / 2;
    std::vector<std::int16_t> values(count);
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned int folded = bytes[1 + i] + 256U * bytes[1 + count + i];
        const int rest = folded % 2 == 0 ? static_cast<int>(folded / 2) : -static_cast<int>((folded + 1) / 2);
        int foretold = 0;
        if (bytes[0] == 1 && i > 0) {
            foretold = values[i - 1];
        } else if (bytes[0] == 2 && i > 0) {
            foretold = i == 1 ? values[0] : 2 * values[i - 1] - values[i - 2];
        }
        values[i] = static_cast<std::int16_t>(static_cast<std::uint16_t>(foretold + rest));
    }
    return values;
}

inline std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace test
