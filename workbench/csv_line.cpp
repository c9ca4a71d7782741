#include "workbench/csv_line.h"

#include <algorithm>
#include <cstddef>

namespace workbench {

namespace {

// Takes one field from the line and leaves `at` behind it, at a comma or the end. False for broken quotes.
bool take_field(const std::string& line, std::size_t& at, std::string& field) {
    field.clear();
    if (at >= line.size() || line[at] != '"') {
        const std::size_t end = std::min(line.find(',', at), line.size());
        field = line.substr(at, end - at);
        at = end;
        return field.find('"') == std::string::npos;
    }
    for (++at; at < line.size(); ++at) {
        if (line[at] != '"') {
            field += line[at];
        } else if (at + 1 < line.size() && line[at + 1] == '"') { // a doubled quote stands for one
            field += '"';
            ++at;
        } else {
            ++at;
            return at == line.size() || line[at] == ',';
        }
    }
    return false;
}

} // namespace

std::optional<std::vector<std::string>> csv_fields(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t at = 0;
    while (true) {
        std::string field;
        if (!take_field(line, at, field)) {
            return std::nullopt;
        }
        fields.push_back(field);
        if (at == line.size()) {
            return fields;
        }
        ++at; // the comma
    }
}

std::string csv_field(const std::string& text) {
    if (text.find_first_of(",\"\n\r") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return quoted + "\"";
}

} // namespace workbench
