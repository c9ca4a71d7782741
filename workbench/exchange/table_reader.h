#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "workbench/line_reader.h"

namespace workbench::exchange {

/// A table in a text file with a line of column names: fields between tabs where that line has one, else between
/// commas, and then perhaps quoted.
class TableReader {
public:
    /// Throws InputError when the file cannot be read or is empty.
    explicit TableReader(const std::filesystem::path& file);

    /// Place of the first of these columns that is there (case does not matter).
    std::optional<std::size_t> column(const std::vector<std::string>& names) const;
    /// The fields of the next row that is not blank, as many as there are columns; nothing at the end. Throws
    /// InputError for a row of another length.
    std::optional<std::vector<std::string>> next();
    /// Throws InputError "FILE:LINE: expected ..., found ..." for the row last read.
    [[noreturn]] void complain(const std::string& expected, const std::string& found) const;

private:
    std::vector<std::string> split(const std::string& line) const;

    LineReader lines_;
    char separator_ = ',';
    std::vector<std::string> columns_;
};

} // namespace workbench::exchange
