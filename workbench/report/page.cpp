#include "workbench/report/page.h"

#include <stdexcept>
#include <string_view>

#include "workbench/report/page_bytes.h"
#include "workbench/report/report_text.h"

namespace workbench {

namespace {

constexpr std::string_view titleMark = "<!-- the report's title -->";
constexpr std::string_view dataMark = "<!-- the report's data -->";

std::string_view page() {
    return {reinterpret_cast<const char*>(pageBytes), pageByteCount};
}

std::size_t place_of(std::string_view mark) {
    const std::size_t place = page().find(mark);
    if (place == std::string_view::npos) {
        throw std::logic_error("the report's page has no place for " + std::string(mark));
    }
    return place;
}

} // namespace

void write_page(std::ostream& stream, const std::string& title, const std::function<void(std::ostream&)>& data) {
    const std::size_t titlePlace = place_of(titleMark);
    const std::size_t dataPlace = place_of(dataMark);
    const std::size_t behindTitle = titlePlace + titleMark.size();
    stream << page().substr(0, titlePlace) << html_text(title) << page().substr(behindTitle, dataPlace - behindTitle);
    data(stream);
    stream << page().substr(dataPlace + dataMark.size());
}

std::size_t page_size() {
    return page().size();
}

} // namespace workbench
