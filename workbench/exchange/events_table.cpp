#include "workbench/exchange/events_table.h"

#include <optional>

#include "workbench/exchange/decimal_number.h"
#include "workbench/exchange/table_reader.h"
#include "workbench/input_file.h"

namespace workbench::exchange {

TableEvents events_from_table(const std::filesystem::path& file, double rate) {
    TableReader table(file);
    const std::optional<std::size_t> onset = table.column({"onset"});
    const std::optional<std::size_t> time = onset ? onset : table.column({"sample", "sample_number_0based"});
    const std::optional<std::size_t> type = table.column({"trial_type", "condition", "value"});
    if (!time) {
        table.complain("a column \"onset\" (in seconds) or \"sample\"", "none");
    }
    TableEvents result;
    while (const std::optional<std::vector<std::string>> row = table.next()) {
        const std::string& when = (*row)[*time];
        const std::string what = type ? (*row)[*type] : "event";
        if (when == "n/a" || what == "n/a" || what.empty()) {
            ++result.withoutTime;
            continue;
        }
        const std::optional<double> number = decimal_number(when);
        if (!number) {
            table.complain(onset ? "an onset in seconds" : "the number of a sample", "\"" + printable(when) + "\"");
        }
        result.events.push_back({onset ? *number : *number / rate, what});
    }
    return result;
}

} // namespace workbench::exchange
