#include "workbench/program.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "workbench/command_completion.h"
#include "workbench/input_error.h"
#include "workbench/run_error.h"

namespace workbench {

namespace {

constexpr int exitBadInput = 2;

int fail(const CLI::App& app, const std::string& text, int status) {
    std::cerr << app.get_name() << ": " << text << "\n";
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
int printed(const CLI::App& app, int status) {
    errno = 0;
    const bool lost = !std::cout.flush() || std::fflush(stdout) != 0;
    return lost && errno != EPIPE && status == 0 ? fail(app, "standard output could not be written", 1) : status;
}

std::string usage_error(const CLI::App& app, int argc, char** argv, const CLI::ParseError& error) {
    const std::string first = argc > 1 ? argv[1] : "";
    const auto isCommand = [&](const CLI::App* command) { return command->get_name() == first; };
    for (const CLI::App* command : app.get_subcommands({})) {
        if (isCommand(command)) {
            return std::string(error.what()) + "; see " + app.get_name() + " " + first + " --help";
        }
    }
    return (first.empty() ? "no command given" : "there is no command " + first) + "; see " + app.get_name() +
           " --help";
}

} // namespace

const char* program_version() {
    return ORIDAN_VERSION;
}

const char* program_date() {
    return ORIDAN_DATE;
}

int run_program(CLI::App& app, int argc, char** argv) {
    app.set_version_flag("--version", app.get_name() + " " + program_version(), "Print the version and exit");
    add_completion_commands(app);
    open_standard_streams();
    ignore_write_signals();
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return printed(app, app.exit(help));
    } catch (const CLI::ParseError& error) {
        return fail(app, usage_error(app, argc, argv, error), exitBadInput);
    } catch (const InputError& error) {
        return fail(app, error.what(), exitBadInput);
    } catch (const RunError& error) {
        return fail(app, error.what(), error.status);
    } catch (const std::exception& error) {
        return fail(app, error.what(), exitNotCompleted);
    }
    return printed(app, 0);
}

} // namespace workbench
