#pragma once

#include <string>

namespace workbench::exchange {

/// Is it all well-formed UTF-8?
bool is_utf8(const std::string& text);

/// Text that need not be UTF-8, as UTF-8: where it is not, its bytes are taken as Latin-1.
std::string as_utf8(const std::string& text);

/// The text without blanks, tabs and null characters around it.
std::string trimmed(const std::string& text);

/// The same with ASCII letters in lower case.
std::string lower_case(const std::string& text);

/// Every occurrence of one text replaced by another.
std::string replaced(std::string text, const std::string& from, const std::string& to);

/// The longest beginning of at most `bytes` bytes that does not cut a character.
std::string cut_to(const std::string& text, std::size_t bytes);

} // namespace workbench::exchange
