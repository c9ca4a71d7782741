// The stand-in workbench: runs plug-in modules on recordings from the command line.

#include <csignal>
#include <exception>
#include <iostream>

#include "workbench/cli11.h"
#include "workbench/command_compare.h"
#include "workbench/command_info.h"
#include "workbench/command_protocol.h"
#include "workbench/command_run.h"
#include "workbench/command_simulate.h"
#include "workbench/input_error.h"
#include "workbench/run_error.h"

namespace {

constexpr int exitBadInput = 2;

int fail(const char* text, int status) {
    std::cerr << "workbench: " << text << "\n";
    return status;
}

} // namespace

int main(int argc, char** argv) {
    std::signal(SIGXFSZ, SIG_IGN); // a file-size limit is a failed write, not a crash
    CLI::App app("A workbench in the terminal: runs plug-in modules on EEG/MEG recordings.", "workbench");
    app.require_subcommand(1);
    workbench::add_info_command(app);
    workbench::add_run_command(app);
    workbench::add_protocol_command(app);
    workbench::add_simulate_command(app);
    workbench::add_compare_command(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        return fail((std::string(error.what()) + "; see workbench --help").c_str(), exitBadInput);
    } catch (const workbench::InputError& error) {
        return fail(error.what(), exitBadInput);
    } catch (const workbench::RunError& error) {
        return fail(error.what(), error.status);
    } catch (const std::exception& error) {
        return fail(error.what(), workbench::exitNotCompleted);
    }
    return 0;
}
