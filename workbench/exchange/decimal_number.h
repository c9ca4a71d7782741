#pragma once

#include <optional>
#include <string>

namespace workbench::exchange {

/// A finite number in decimal notation, blanks around it and a plus sign allowed; nothing for any other text.
std::optional<double> decimal_number(const std::string& text);

/// The shortest text that gives the number back.
std::string shortest_text(double value);

} // namespace workbench::exchange
