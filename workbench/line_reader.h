#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace workbench {

/// Reads a UTF-8 text file line by line and says where a complaint belongs. Lines end in LF or CRLF.
class LineReader {
public:
    /// Throws InputError when the file cannot be read.
    explicit LineReader(const std::filesystem::path& file);

    /// The next line without its end, or nothing at the end of the file. Throws InputError for a line that is not
    /// UTF-8 text (bytes of 0 are none) or longer than a text line can reasonably be.
    std::optional<std::string> next();

    /// Throws InputError "FILE:LINE: expected ..., found ..." for the line last read. At the end of the file the
    /// line is the one after the last.
    [[noreturn]] void complain(const std::string& expected, const std::string& found) const;
    /// The same; what was found is a text (the line or a part of it), or the end of the file.
    [[noreturn]] void complain_about(const std::string& expected, const std::optional<std::string>& text) const;

private:
    std::filesystem::path path_;
    std::ifstream stream_;
    std::size_t lineNumber_ = 0;
};

/// A trigger's number: digits only, 0 to 2147483647. Nothing for any other text.
std::optional<std::int32_t> parse_whole_number(const std::string& text);

/// "a whole number from 0 to 2147483647", for messages.
extern const char* const wholeNumberExpected;

} // namespace workbench
