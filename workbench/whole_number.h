#pragma once

#include <optional>
#include <string>

namespace workbench {

/// A whole number in decimal digits, with a minus sign at most; nothing for any other text (hexadecimal, blanks, a plus
/// sign, a number that does not fit an int).
std::optional<int> whole_number(const std::string& text);

/// Why an option's text is no such number, for the command line's checks; empty when it is one. Leading zeros are
/// refused too: they would be read as octal.
std::string whole_number_problem(const std::string& text);

} // namespace workbench
