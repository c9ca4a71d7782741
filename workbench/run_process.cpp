#include "workbench/run_process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "workbench/host_services.h"

namespace workbench {

namespace {

constexpr int exitWithReason = 3; // the child's reason of failure is in the pipe

std::string system_error(const char* what) {
    return std::string(what) + " (" + std::strerror(errno) + ")";
}

void write_all(int descriptor, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t n = write(descriptor, text.data() + done, text.size() - done);
        if (n <= 0) {
            return;
        }
        done += static_cast<std::size_t>(n);
    }
}

std::string read_all(int descriptor) {
    std::string text;
    char buffer[512];
    for (ssize_t n = 0; (n = read(descriptor, buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(n));
    }
    return text;
}

[[noreturn]] void child_main(const std::function<std::string()>& work, const InterruptHold& hold, pid_t parent,
                             int reasonPipe) {
    prctl(PR_SET_PDEATHSIG, SIGKILL); // not to go on writing when the parent was killed
    if (getppid() != parent) {
        _exit(1);
    }
    sigprocmask(SIG_SETMASK, &hold.before(), nullptr);
    std::string failure;
    try {
        failure = work();
    } catch (const std::exception& error) {
        failure = error.what();
    }
    std::fflush(nullptr);
    write_all(reasonPipe, failure);
    std::exit(failure.empty() ? 0 : exitWithReason);
}

std::string failure_of(int status, const std::string& reason) {
    if (WIFSIGNALED(status)) {
        return std::string("the module crashed (") + strsignal(WTERMSIG(status)) + ")";
    }
    const int code = WEXITSTATUS(status);
    if (code == 0) {
        return "";
    }
    if (code == exitCancelled) {
        return "cancelled";
    }
    return code == exitWithReason ? reason : "the module ended the program with status " + std::to_string(code);
}

// Waits for the child, or for an interrupt, which ends it.
std::string wait_for(pid_t child, InterruptHold& hold, int reasonPipe) {
    sigset_t awaited = hold.held();
    sigaddset(&awaited, SIGCHLD);
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(child, &status, WNOHANG);
        if (ended == child) {
            return failure_of(status, read_all(reasonPipe));
        }
        if (ended < 0) {
            return system_error("the module's process was lost");
        }
        const int signal = sigwaitinfo(&awaited, nullptr);
        if (signal > 0 && signal != SIGCHLD) {
            hold.note_arrival();
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            return "interrupted";
        }
    }
}

} // namespace

std::string run_in_child(InterruptHold& hold, const std::function<std::string()>& work) {
    int reasonPipe[2];
    if (pipe(reasonPipe) != 0) {
        return system_error("cannot start a process for the module");
    }
    std::signal(SIGCHLD, SIG_DFL); // ignored, as some job runners leave it, the child's end would go unseen
    sigset_t childEnds;
    sigset_t before;
    sigemptyset(&childEnds);
    sigaddset(&childEnds, SIGCHLD);
    sigprocmask(SIG_BLOCK, &childEnds, &before);
    std::fflush(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        close(reasonPipe[0]);
        child_main(work, hold, parent, reasonPipe[1]);
    }
    close(reasonPipe[1]);
    const std::string failure =
        child < 0 ? system_error("cannot start a process for the module") : wait_for(child, hold, reasonPipe[0]);
    close(reasonPipe[0]);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return failure;
}

} // namespace workbench
