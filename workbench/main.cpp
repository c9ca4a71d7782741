// The stand-in workbench: runs plug-in modules on recordings from the command line.

#include "workbench/batch/command_batch.h"
#include "workbench/check/command_check.h"
#include "workbench/cli11.h"
#include "workbench/command_compare.h"
#include "workbench/command_info.h"
#include "workbench/command_protocol.h"
#include "workbench/command_run.h"
#include "workbench/command_simulate.h"
#include "workbench/exchange/command_export.h"
#include "workbench/exchange/command_import.h"
#include "workbench/program.h"
#include "workbench/report/command_report.h"

int main(int argc, char** argv) {
    CLI::App app("A workbench in the terminal: runs plug-in modules on EEG/MEG recordings.", "workbench");
    app.require_subcommand(1);
    workbench::add_info_command(app);
    workbench::add_import_command(app);
    workbench::add_protocol_command(app);
    workbench::add_check_command(app);
    workbench::add_run_command(app);
    workbench::add_batch_command(app);
    workbench::add_compare_command(app);
    workbench::add_report_command(app);
    workbench::add_export_command(app);
    workbench::add_simulate_command(app);
    return workbench::run_program(app, argc, argv);
}
