#include "workbench/report/report_text.h"

#include <nlohmann/json.hpp>

#include "workbench/input_file.h"

namespace workbench {

namespace {

constexpr const char* replacement = "\xEF\xBF\xBD"; // U+FFFD

} // namespace

std::string html_text(const std::string& text) {
    std::string html;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = utf8_length(text, at);
        const std::string character = length == 0 ? replacement : text.substr(at, length);
        html += character == "&"    ? "&amp;"
                : character == "<"  ? "&lt;"
                : character == ">"  ? "&gt;"
                : character == "\"" ? "&quot;"
                : character == "'"  ? "&#39;"
                                    : character;
        at += length == 0 ? 1 : length;
    }
    return html;
}

std::string script_json(const nlohmann::json& value) {
    const std::string plain = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    std::string json;
    json.reserve(plain.size());
    for (const char c : plain) {
        // '<' occurs inside of texts only, where its escape means the same.
        json += c == '<' ? std::string("\\u003c") : std::string(1, c);
    }
    return json;
}

} // namespace workbench
