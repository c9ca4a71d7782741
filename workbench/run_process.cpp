#include "workbench/run_process.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "workbench/input_error.h"

namespace workbench {

namespace {

sigset_t watched_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, signal);
    }
    return set;
}

[[noreturn]] void child_main(const std::function<bool()>& work, const sigset_t& signalsBefore) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // not to go on writing when the parent was killed
    sigprocmask(SIG_SETMASK, &signalsBefore, nullptr);
    std::signal(SIGXFSZ, SIG_IGN); // a file-size limit is a failed write, not a crash
    const bool succeeded = work();
    std::fflush(nullptr);
    std::exit(succeeded ? 0 : 1);
}

ProcessResult result_of(int status) {
    if (WIFSIGNALED(status)) {
        return {false, false, std::string("the module crashed (") + strsignal(WTERMSIG(status)) + ")"};
    }
    const int code = WEXITSTATUS(status);
    return {code == 0, false, code > 1 ? "the module ended the program with status " + std::to_string(code) : ""};
}

} // namespace

ProcessResult run_in_child(const std::function<bool()>& work) {
    const sigset_t watched = watched_signals();
    sigset_t before;
    sigprocmask(SIG_BLOCK, &watched, &before);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        child_main(work, before);
    }
    if (child < 0) {
        sigprocmask(SIG_SETMASK, &before, nullptr);
        throw InputError(std::string("cannot start a process for the module: ") + std::strerror(errno));
    }
    int status = 0;
    bool interrupted = false;
    while (waitpid(child, &status, WNOHANG) == 0) {
        if (sigwaitinfo(&watched, nullptr) != SIGCHLD) {
            interrupted = true;
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            break;
        }
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    if (interrupted) {
        return {false, true, ""};
    }
    return result_of(status);
}

} // namespace workbench
