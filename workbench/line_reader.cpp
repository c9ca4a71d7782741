#include "workbench/line_reader.h"

#include <algorithm>
#include <charconv>

#include "workbench/input_error.h"
#include "workbench/input_file.h"

namespace workbench {

namespace {

constexpr std::size_t longestLine = 4096;

// Names end at a zero for the system, wherever else it stands in them.
bool is_text(const std::string& text) {
    if (text.find('\0') != std::string::npos) {
        return false;
    }
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8_length(text, at);
        if (length == 0) {
            return false;
        }
        at += length;
    }
    return true;
}

} // namespace

const char* const wholeNumberExpected = "a whole number from 0 to 2147483647";

LineReader::LineReader(const std::filesystem::path& file) : path_(file), stream_(open_input_file(file)) {}

std::optional<std::string> LineReader::next() {
    ++lineNumber_;
    std::string line;
    bool ended = false;
    for (int c = stream_.get(); c != std::ifstream::traits_type::eof(); c = stream_.get()) {
        if (c == '\n') {
            ended = true;
            break;
        }
        line += static_cast<char>(c);
        if (line.size() > longestLine) {
            complain("a line of text of at most " + std::to_string(longestLine) + " bytes", "a longer one");
        }
    }
    if (stream_.bad()) {
        throw InputError(path_.string() + ": cannot be read");
    }
    if (!ended && line.empty()) {
        return std::nullopt;
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    if (lineNumber_ == 1 && line.starts_with("\xEF\xBB\xBF")) {
        complain("plain UTF-8 text", "a byte order mark");
    }
    if (!is_text(line)) {
        complain_about("UTF-8 text", line);
    }
    return line;
}

void LineReader::complain(const std::string& expected, const std::string& found) const {
    throw InputError(path_.string() + ":" + std::to_string(lineNumber_) + ": expected " + expected + ", found " +
                     found);
}

void LineReader::complain_about(const std::string& expected, const std::optional<std::string>& text) const {
    const std::string found = text ? "\"" + printable(*text) + "\"" : "the end of the file";
    complain(expected, found);
}

std::optional<std::int32_t> parse_whole_number(const std::string& text) {
    std::int32_t value = 0;
    const bool digitsOnly =
        !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!digitsOnly || std::from_chars(text.data(), text.data() + text.size(), value).ec != std::errc{}) {
        return std::nullopt;
    }
    return value;
}

} // namespace workbench
