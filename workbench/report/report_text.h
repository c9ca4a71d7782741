#pragma once

#include <string>

#include <nlohmann/json_fwd.hpp>

/// Texts of users inside a page.
namespace workbench {

/// A text as HTML shows it. Bytes that are not UTF-8 become U+FFFD.
std::string html_text(const std::string& text);

/// JSON that can stand inside a script element: no '<', whatever the texts hold. Numbers that are not finite become
/// null, bytes that are not UTF-8 become U+FFFD.
std::string script_json(const nlohmann::json& value);

} // namespace workbench
