#include "workbench/whole_number.h"

#include <charconv>

namespace workbench {

std::optional<int> whole_number(const std::string& text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stop == end ? std::optional<int>(value) : std::nullopt;
}

std::string whole_number_problem(const std::string& text) {
    const std::string digits = text.substr(!text.empty() && text[0] == '-' ? 1 : 0);
    const bool leadingZero = digits.size() > 1 && digits[0] == '0';
    return whole_number(text) && !leadingZero ? "" : "must be a whole number in decimal digits, not " + text;
}

} // namespace workbench
