#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "workbench/interrupt.h"

namespace tools {

/// A long job: on a terminal one line on standard error shows how far it is; an interrupt ends it with RunError.
class Job {
public:
    /// @param title      what the line says, e.g. "converting"
    /// @param total      elements in all
    /// @param interrupt  null where nothing has to be cleared up, so that the signals act at once
    /// @param shown      false where the line would get between other lines on the terminal
    Job(std::string title, std::uint64_t total, workbench::InterruptHold* interrupt, bool shown = true);
    ~Job();
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    void advance(std::uint64_t elements);

private:
    void draw();

    std::string title_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    workbench::InterruptHold* interrupt_;
    bool live_;
    std::chrono::steady_clock::time_point lastDrawn_{};
};

} // namespace tools
