#include "workbench/batch/job_pool.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "workbench/run_error.h"

namespace workbench {

namespace {

constexpr timespec tickLength{0, 200'000'000};

// Not to go on working when the parent was killed.
void end_with_parent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
        _exit(1);
    }
}

} // namespace

JobPool::JobPool(const BatchSettings& settings, const BatchLock& lock, std::size_t width)
    : settings_(settings), lock_(lock), width_(width) {}

void JobPool::start(const Job& job, std::size_t place, const InterruptHold& hold) {
    std::cout.flush();
    std::fflush(nullptr);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child < 0) {
        throw RunError(std::string("cannot start a process (") + std::strerror(errno) + ")", exitNotCompleted);
    }
    if (child == 0) {
        setpgid(0, 0); // Ctrl-C goes to the batch alone, which then stops its jobs
        end_with_parent(parent);
        bool succeeded = false;
        try {
            const pid_t self = getpid();
            succeeded = do_job(job, settings_, [&] {
                end_with_parent(self);
                lock_.keep_over_exec();
                sigprocmask(SIG_SETMASK, &hold.before(), nullptr);
            });
        } catch (const std::exception& error) {
            std::cerr << "workbench: " << job.recording << ": " << error.what() << std::endl;
        }
        _exit(succeeded ? 0 : 1);
    }
    setpgid(child, child); // whichever of the two comes first
    running_.push_back({child, place});
}

void JobPool::reap(const PoolEvents& events) {
    for (pid_t ended = 0; (ended = waitpid(-1, nullptr, WNOHANG)) > 0;) {
        const auto place = std::find_if(running_.begin(), running_.end(),
                                        [&](const Running& running) { return running.process == ended; });
        if (place != running_.end()) {
            const std::size_t job = place->job;
            running_.erase(place);
            events.ended(job);
        }
    }
}

// At any moment a job's process may be killed: what it had put in place so far is known as unfinished.
void JobPool::stop_all(const std::vector<Job>& jobs) {
    for (const Running& running : running_) {
        kill(-running.process, SIGKILL);
    }
    for (const Running& running : running_) {
        while (waitpid(-running.process, nullptr, 0) > 0 || errno == EINTR) {
        }
        std::error_code ignored;
        std::filesystem::remove_all(work_folder(settings_.results, jobs[running.job]), ignored);
    }
    running_.clear();
}

int JobPool::run(const std::vector<Job>& jobs, const PoolEvents& events) {
    InterruptHold hold;
    std::signal(SIGCHLD, SIG_DFL);    // ignored, as some job runners leave it, the children's ends would go unseen
    prctl(PR_SET_CHILD_SUBREAPER, 1); // what a stopped job had started is waited for, too
    sigset_t awaited = hold.held();
    sigaddset(&awaited, SIGCHLD);
    sigset_t childEnds;
    sigset_t before;
    sigemptyset(&childEnds);
    sigaddset(&childEnds, SIGCHLD);
    sigprocmask(SIG_BLOCK, &childEnds, &before);
    int interruptedBy = 0;
    std::size_t next = 0;
    while (interruptedBy == 0 && (next < jobs.size() || !running_.empty())) {
        while (next < jobs.size() && running_.size() < width_) {
            start(jobs[next], next, hold);
            events.started(next++);
        }
        events.tick();
        const int signal = sigtimedwait(&awaited, nullptr, &tickLength);
        if (signal > 0 && signal != SIGCHLD) {
            interruptedBy = signal;
            hold.note_arrival();
        }
        reap(events);
    }
    stop_all(jobs);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return interruptedBy;
}

} // namespace workbench
