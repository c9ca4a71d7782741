#pragma once

#include <map>
#include <string>
#include <vector>

namespace workbench::exchange {

/// A text as a condition can be named: '/' becomes '_', control characters become blanks, blanks around it and what
/// exceeds the length of a name go. A text of nothing else becomes "event".
std::string valid_condition_name(const std::string& text);

/// Names for event types, each its own: where two become the same, the later one gets " (2)" and so on.
class ConditionNames {
public:
    const std::string& name_of(const std::string& type);
    /// Types whose name is not their text, in the order in which they came: "TYPE" -> "NAME".
    const std::vector<std::string>& changes() const { return changes_; }

private:
    std::map<std::string, std::string> names_; // of each type
    std::map<std::string, std::string> taken_; // the type of each name
    std::vector<std::string> changes_;
};

} // namespace workbench::exchange
