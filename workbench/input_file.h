#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace workbench {

/// Opens a file for binary reading without a buffer of its own when `buffered` is false (for large blocks).
/// Throws InputError in plain words: no such file, a folder, not a regular file (which could block), no permission.
std::ifstream open_input_file(const std::filesystem::path& file, bool buffered = true);

/// The text on one line, fit for a message or a terminal: control characters and bytes that are not UTF-8 become
/// '?', and what exceeds 60 bytes is cut and ends in "...".
std::string printable(const std::string& text);

/// Bytes of the well-formed UTF-8 character at a place, or 0 where there is none.
std::size_t utf8_length(const std::string& text, std::size_t at);

/// Is the character at this place a control character (below U+0020, or U+007F to U+009F)?
bool is_control(const std::string& text, std::size_t at);

} // namespace workbench
