#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/temporary_folder.h"

/// Programs under test, run as a person or a script would run them.
namespace support {

struct CommandResult {
    int status; ///< exit status, or 128 + the signal that ended it
    std::string out;
    std::string err;
};

namespace command_detail {

inline int status_of(int waited) {
    return WIFEXITED(waited) ? WEXITSTATUS(waited) : 128 + WTERMSIG(waited);
}

[[noreturn]] inline void replace_process(const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    std::perror(argv[0]);
    _exit(127);
}

inline void redirect(int from, const std::string& file, int flags) {
    const int opened = open(file.c_str(), flags, 0600);
    dup2(opened, from);
    close(opened);
}

} // namespace command_detail

/// Runs a program without a terminal (no standard input) and waits.
/// @param whileRunning  called with the process id once it was started
/// @param inChild       called in the new process before the program, for limits and the environment
inline CommandResult run_command(const std::vector<std::string>& arguments,
                                 const std::function<void(pid_t)>& whileRunning = {},
                                 const std::function<void()>& inChild = {}) {
    const TemporaryFolder capture;
    const pid_t child = fork();
    if (child == 0) {
        command_detail::redirect(0, "/dev/null", O_RDONLY);
        command_detail::redirect(1, capture.path("out"), O_WRONLY | O_CREAT);
        command_detail::redirect(2, capture.path("err"), O_WRONLY | O_CREAT);
        if (inChild) {
            inChild();
        }
        command_detail::replace_process(arguments);
    }
    if (whileRunning) {
        whileRunning(child);
    }
    int waited = 0;
    waitpid(child, &waited, 0);
    return {command_detail::status_of(waited), capture.read("out"), capture.read("err")};
}

/// Whether this system gives out pseudo-terminals (a bare chroot may not).
inline bool has_terminals() {
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    const bool usable = master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0 && ptsname(master) != nullptr &&
                        access(ptsname(master), R_OK | W_OK) == 0;
    if (master >= 0) {
        close(master);
    }
    return usable;
}

/// Runs a program on a terminal of its own, types `typed` into it at once, and waits. Everything that the terminal
/// shows, echo included, is in `out`.
inline CommandResult run_on_terminal(const std::vector<std::string>& arguments, const std::string& typed) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        command_detail::replace_process(arguments);
    }
    CommandResult result{0, "", ""};
    if (write(terminal, typed.data(), typed.size()) != static_cast<ssize_t>(typed.size())) {
        result.err = "could not type";
    }
    char buffer[4096];
    for (ssize_t n = 0; (n = read(terminal, buffer, sizeof buffer)) > 0;) {
        result.out.append(buffer, static_cast<std::size_t>(n));
    }
    int waited = 0;
    waitpid(child, &waited, 0);
    close(terminal);
    result.status = command_detail::status_of(waited);
    return result;
}

} // namespace support
