#include "workbench/option_value.h"

#include <algorithm>
#include <cstddef>

namespace workbench {

namespace {

std::vector<std::string> separated(const std::string& text) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == ',') {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

bool is_letter(char c) {
    return c >= 'a' && c <= 'z';
}

bool is_letter_or_digit(char c) {
    return is_letter(c) || (c >= '0' && c <= '9');
}

// The endings of ".ctc", "R.prt" or "R.clean.html" in a text, but not the dot of "e.g." or of a number.
std::vector<std::string> endings_in(const std::string& text) {
    std::vector<std::string> endings;
    for (std::size_t dot = text.find('.'); dot != std::string::npos; dot = text.find('.', dot + 1)) {
        std::size_t end = dot + 1;
        while (end < text.size() && is_letter_or_digit(text[end])) {
            ++end;
        }
        const std::string name = text.substr(dot + 1, end - dot - 1);
        const bool goesOn = end + 1 < text.size() && text[end] == '.' && is_letter(text[end + 1]);
        const bool isEnding = name.size() >= 2 && name.size() <= 5 && is_letter(name[0]) && !goesOn;
        if (isEnding && std::find(endings.begin(), endings.end(), name) == endings.end()) {
            endings.push_back(name);
        }
    }
    return endings;
}

// What stands between two marks; empty where they are missing.
std::string between(const std::string& text, const std::string& from, const std::string& to) {
    const std::size_t start = text.find(from);
    const std::size_t end = start == std::string::npos ? start : text.find(to, start + from.size());
    return end == std::string::npos ? "" : text.substr(start + from.size(), end - start - from.size());
}

bool begins_with(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

} // namespace

// The parser tells types and checks as one text: "TEXT:{gradient,heartbeat}", "INT:INT in [0 - 5000]".
OptionValue option_value(const CLI::Option& option) {
    OptionValue value;
    value.none = option.get_items_expected_max() == 0;
    if (value.none) {
        return value;
    }
    value.optional = option.get_items_expected_min() == 0;
    const std::string type = option.get_type_name();
    const std::string choices = between(type, "{", "}");
    if (!choices.empty()) {
        value.choices = separated(choices);
    }
    value.number = begins_with(type, "INT") || begins_with(type, "UINT") || begins_with(type, "FLOAT");
    const std::string range = between(type, " in [", "]");
    const std::size_t dash = range.find(" - ");
    if (dash != std::string::npos) {
        value.range = range.substr(0, dash) + " to " + range.substr(dash + 3);
    }
    if (!value.number && value.choices.empty()) {
        const std::string name = option.nonpositional() ? "" : option.get_name(true) + " ";
        value.fileEndings = endings_in(name + option.get_description());
    }
    return value;
}

} // namespace workbench
