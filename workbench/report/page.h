#pragma once

#include <functional>
#include <ostream>
#include <string>

/// The page around the report's data: what stands in page/, joined into one file when the program is built.
namespace workbench {

/// Writes the page. Title and data take the places that page.html leaves for them.
/// @param title  plain text; escaped here
/// @param data   writes elements that the page's scripts read
void write_page(std::ostream& stream, const std::string& title, const std::function<void(std::ostream&)>& data);

/// Bytes of the page without data.
std::size_t page_size();

} // namespace workbench
