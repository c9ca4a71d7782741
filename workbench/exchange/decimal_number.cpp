#include "workbench/exchange/decimal_number.h"

#include <charconv>
#include <cmath>

#include "workbench/exchange/text_encoding.h"

namespace workbench::exchange {

std::optional<double> decimal_number(const std::string& text) {
    std::string digits = trimmed(text);
    if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') {
        digits.erase(0, 1);
    }
    double value = 0.0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value);
    if (error != std::errc{} || stop != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::string shortest_text(double value) {
    char text[64];
    const auto [end, error] = std::to_chars(text, text + sizeof text, value);
    return error == std::errc{} ? std::string(text, end) : std::string("?");
}

} // namespace workbench::exchange
