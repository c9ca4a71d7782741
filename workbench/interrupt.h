#pragma once

#include <csignal>

namespace workbench {

/// While it lives, Ctrl-C, SIGTERM and SIGHUP do not end the program: what is half done can be cleared up first.
/// Signals that were ignored when it was made (nohup, background jobs of scripts) stay ignored.
class InterruptHold {
public:
    InterruptHold();
    ~InterruptHold();
    InterruptHold(const InterruptHold&) = delete;
    InterruptHold& operator=(const InterruptHold&) = delete;

    /// An interrupt has arrived. Once true it stays true, and the signal is taken.
    bool arrived();
    /// Throws RunError "interrupted; nothing was written" when an interrupt has arrived.
    void throw_if_arrived();

    const sigset_t& held() const { return held_; }
    const sigset_t& before() const { return before_; }
    void note_arrival() { arrived_ = true; }

private:
    sigset_t held_{};
    sigset_t before_{};
    bool arrived_ = false;
};

} // namespace workbench
