// The stand-in workbench: runs plug-in modules on recordings from the command line.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

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

int fail(const std::string& text, int status) {
    std::cerr << "workbench: " << text << "\n";
    return status;
}

// A recording must never get the number of a standard stream that the caller had closed.
void open_standard_streams() {
    int descriptor = open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = dup(descriptor);
    }
    if (descriptor >= 0) {
        close(descriptor);
    }
}

// A failed write is told by its result; the signals would end the program in the middle of its work.
void ignore_write_signals() {
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

// What was printed must have arrived, unless nobody reads it any more.
int printed(int status) {
    errno = 0;
    const bool lost = !std::cout.flush() || std::fflush(stdout) != 0;
    return lost && errno != EPIPE && status == 0 ? fail("standard output could not be written", 1) : status;
}

std::string usage_error(const CLI::App& app, int argc, char** argv, const CLI::ParseError& error) {
    const std::string first = argc > 1 ? argv[1] : "";
    const auto isCommand = [&](const CLI::App* command) { return command->get_name() == first; };
    for (const CLI::App* command : app.get_subcommands({})) {
        if (isCommand(command)) {
            return std::string(error.what()) + "; see workbench " + first + " --help";
        }
    }
    return (first.empty() ? "no command given" : "there is no command " + first) + "; see workbench --help";
}

} // namespace

int main(int argc, char** argv) {
    open_standard_streams();
    ignore_write_signals();
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
        return printed(app.exit(help));
    } catch (const CLI::ParseError& error) {
        return fail(usage_error(app, argc, argv, error), exitBadInput);
    } catch (const workbench::InputError& error) {
        return fail(error.what(), exitBadInput);
    } catch (const workbench::RunError& error) {
        return fail(error.what(), error.status);
    } catch (const std::exception& error) {
        return fail(error.what(), workbench::exitNotCompleted);
    }
    return printed(0);
}
