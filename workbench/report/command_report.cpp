#include "workbench/report/command_report.h"

#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "workbench/report/report.h"
#include "workbench/run_settings.h"
#include "workbench/whole_number.h"

namespace workbench {

void add_report_command(CLI::App& app) {
    auto request = std::make_shared<ReportRequest>();
    CLI::App* command = app.add_subcommand("report", "Show a removal as a page for the browser: one HTML file");
    command->add_option("BEFORE.ctc", request->before, "the recording as it was")->required();
    command->add_option("AFTER.ctc", request->after, "the cleaned recording")->required();
    command->add_option("--protocol", request->protocol, "protocol file (.prt) with the artifact's triggers")
        ->required();
    command->add_option("--condition", request->condition, "condition, by name or by number from 1")->required();
    command->add_option("--truth", request->truth, "the recording without artifact, where it is known");
    const auto add_number = [&](const char* name, std::optional<int>& setting, const char* description, int lowest,
                                int highest) {
        command->add_option(name, setting, description)
            ->check(whole_number_problem)
            ->check(CLI::Range(lowest, highest));
    };
    add_number("--pre", request->pre, "window before the trigger in ms (default: found from the samples that changed)",
               0, longestWindow);
    add_number("--post", request->post, "window after the trigger in ms", 0, longestWindow);
    add_number("--segment", request->segment, "artifacts per segment of the removal, to be shown", 1, 2147483647);
    add_number("--components", request->components, "components that were removed, to be shown", 1, 2147483647);
    command->add_option("-o,--output", request->output, "the report, e.g. report.html")->required();
    command->add_flag("--overwrite", request->overwrite, "replace a report that exists");
    command->footer("The page needs no network and no other file. workbench run --report makes it after a run.\n"
                    "Example, after workbench simulate -o demo.ctc:\n"
                    "  workbench report demo.ctc demo.clean.ctc --protocol demo.prt --condition slice --truth "
                    "demo.clean.ctc -o demo.html\n");
    command->callback([request] {
        write_report(*request);
        std::cout << "Report: " << request->output.string() << std::endl;
    });
}

} // namespace workbench
