#include "workbench/exchange/table_reader.h"

#include "workbench/exchange/text_encoding.h"

namespace workbench::exchange {

TableReader::TableReader(const std::filesystem::path& file) : lines_(file) {
    const std::optional<std::string> line = lines_.next();
    if (!line || trimmed(*line).empty()) {
        lines_.complain_about("a line with the names of the columns", line);
    }
    separator_ = line->find('\t') != std::string::npos ? '\t' : ',';
    for (const std::string& name : split(*line)) {
        columns_.push_back(lower_case(name));
    }
}

std::vector<std::string> TableReader::split(const std::string& line) const {
    std::vector<std::string> fields(1);
    bool quoted = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '"' && separator_ == ',') {
            const bool doubled = quoted && at + 1 < line.size() && line[at + 1] == '"'; // stands for one
            if (doubled) {
                fields.back() += line[at++];
            } else {
                quoted = !quoted;
            }
        } else if (line[at] == separator_ && !quoted) {
            fields.emplace_back();
        } else {
            fields.back() += line[at];
        }
    }
    for (std::string& field : fields) {
        field = trimmed(field);
    }
    return fields;
}

std::optional<std::size_t> TableReader::column(const std::vector<std::string>& names) const {
    for (const std::string& name : names) {
        for (std::size_t i = 0; i < columns_.size(); ++i) {
            if (columns_[i] == name) {
                return i;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::vector<std::string>> TableReader::next() {
    std::optional<std::string> line = lines_.next();
    while (line && trimmed(*line).empty()) {
        line = lines_.next();
    }
    if (!line) {
        return std::nullopt;
    }
    std::vector<std::string> fields = split(*line);
    if (fields.size() != columns_.size()) {
        complain(std::to_string(columns_.size()) + " fields", std::to_string(fields.size()));
    }
    return fields;
}

void TableReader::complain(const std::string& expected, const std::string& found) const {
    lines_.complain(expected, found);
}

} // namespace workbench::exchange
