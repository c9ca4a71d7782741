#pragma once

#include <optional>
#include <string>
#include <vector>

namespace workbench {

/// The fields of one line of a CSV file: commas between them, quotes around a field that holds commas or quotes, and a
/// doubled quote for one. Nothing for a line whose quotes are broken.
std::optional<std::vector<std::string>> csv_fields(const std::string& line);

/// A field as it stands in a CSV file: quoted where that is needed.
std::string csv_field(const std::string& text);

} // namespace workbench
