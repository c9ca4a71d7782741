#include "workbench/interrupt.h"

#include <ctime>

#include <pthread.h>

#include "workbench/run_error.h"

namespace workbench {

namespace {

pthread_t holder;

// Libraries start threads of their own before we block anything, and the system hands a signal to whichever thread
// takes it. From there it is passed on to the thread that holds it back. In a child process that no longer holds
// signals back the signal does what it always does.
extern "C" void pass_on(int signal) {
    if (pthread_equal(pthread_self(), holder) == 0) {
        pthread_kill(holder, signal);
        return;
    }
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

bool is_ignored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

} // namespace

InterruptHold::InterruptHold() {
    sigemptyset(&held_);
    holder = pthread_self();
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (!is_ignored(signal)) {
            sigaddset(&held_, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &held_, &before_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (sigismember(&held_, signal) == 1) {
            struct sigaction action {};
            action.sa_handler = pass_on;
            action.sa_flags = SA_RESTART;
            sigaction(signal, &action, nullptr);
        }
    }
}

InterruptHold::~InterruptHold() {
    arrived(); // takes what is pending: whoever looks at arrived() has reported it
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (sigismember(&held_, signal) == 1) {
            std::signal(signal, SIG_DFL);
        }
    }
    sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool InterruptHold::arrived() {
    const timespec atOnce{};
    while (sigtimedwait(&held_, nullptr, &atOnce) > 0) {
        arrived_ = true;
    }
    return arrived_;
}

void InterruptHold::throw_if_arrived() {
    if (arrived()) {
        throw RunError("interrupted; nothing was written", exitInterrupted);
    }
}

} // namespace workbench
