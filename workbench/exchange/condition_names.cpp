#include "workbench/exchange/condition_names.h"

#include "workbench/exchange/text_encoding.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

namespace {

constexpr std::size_t longestName = 240;

} // namespace

std::string valid_condition_name(const std::string& text) {
    const std::string utf8 = as_utf8(text);
    std::string name;
    for (std::size_t at = 0; at < utf8.size();) {
        const std::size_t length = utf8_length(utf8, at);
        if (utf8[at] == '/') {
            name += '_';
        } else if (is_control(utf8, at)) {
            name += ' ';
        } else {
            name.append(utf8, at, length);
        }
        at += length;
    }
    name = trimmed(cut_to(trimmed(name), longestName));
    return name.empty() ? "event" : name;
}

const std::string& ConditionNames::name_of(const std::string& type) {
    const auto known = names_.find(type);
    if (known != names_.end()) {
        return known->second;
    }
    const std::string wanted = valid_condition_name(type);
    std::string name = wanted;
    for (int number = 2; taken_.contains(name); ++number) {
        const std::string suffix = " (" + std::to_string(number) + ")";
        name = trimmed(cut_to(wanted, longestName - suffix.size())) + suffix;
    }
    taken_[name] = type;
    if (name != type) {
        changes_.push_back("\"" + printable(type) + "\" is the condition \"" + printable(name) + "\"");
    }
    return names_[type] = name;
}

} // namespace workbench::exchange
