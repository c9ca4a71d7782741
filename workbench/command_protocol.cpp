#include "workbench/command_protocol.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <system_error>

#include "workbench/input_error.h"
#include "workbench/pending_file.h"
#include "workbench/protocol_file.h"
#include "workbench/trigger_table.h"

namespace workbench {

namespace {

struct ProtocolOptions {
    std::string table;
    std::string output;
    std::string experiment;
    bool overwrite = false;
};

void make_protocol(const ProtocolOptions& options) {
    std::error_code error;
    if (std::filesystem::equivalent(options.table, options.output, error)) {
        throw InputError(options.output + ": is the table itself; choose another name with -o");
    }
    const std::filesystem::path table(options.table);
    const std::string experiment = options.experiment.empty() ? table.stem().string() : options.experiment;
    const Protocol protocol = protocol_from_csv(table, experiment);
    PendingFile file(options.output, options.overwrite);
    file.stream() << protocol_text(protocol);
    file.commit();
    std::cout << "Wrote " << options.output << ":\n";
    for (const ProtocolCondition& condition : protocol.conditions) {
        std::cout << "  " << condition.name << ": " << condition.intervals.size() << " triggers\n";
    }
}

} // namespace

void add_protocol_command(CLI::App& app) {
    auto options = std::make_shared<ProtocolOptions>();
    CLI::App* command = app.add_subcommand("protocol", "Make a protocol file from a table of triggers");
    command
        ->add_option("TRIGGERS.csv", options->table,
                     "table with the header condition,sample_number_0based; the numbers go in unchanged")
        ->required();
    command->add_option("-o,--output", options->output, "the protocol file to write, e.g. R.prt")->required();
    command->add_option("--experiment", options->experiment, "the experiment's name (the table's name if not given)");
    command->add_flag("--overwrite", options->overwrite, "replace the protocol file if it exists");
    command->footer("Example:\n  printf 'condition,sample_number_0based\\nblink,486\\nblink,662\\n' > triggers.csv\n"
                    "  workbench protocol triggers.csv -o blinks.prt\n");
    command->callback([options] { make_protocol(*options); });
}

} // namespace workbench
