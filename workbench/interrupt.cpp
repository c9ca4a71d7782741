#include "workbench/interrupt.h"

#include <ctime>

#include "workbench/run_error.h"

namespace workbench {

namespace {

bool is_ignored(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler == SIG_IGN;
}

} // namespace

InterruptHold::InterruptHold() {
    sigemptyset(&held_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (!is_ignored(signal)) {
            sigaddset(&held_, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &held_, &before_);
}

InterruptHold::~InterruptHold() {
    arrived(); // takes what is pending: whoever looks at arrived() has reported it
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
