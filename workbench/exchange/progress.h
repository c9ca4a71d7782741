#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "workbench/interrupt.h"

namespace workbench::exchange {

/// A long job: on a terminal one line on standard error shows how far it is; an interrupt ends it with RunError.
class Progress {
public:
    /// @param title  what the line says, e.g. "importing"
    /// @param total  steps in all, of any kind
    Progress(std::string title, std::uint64_t total, InterruptHold& interrupt);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void advance(std::uint64_t steps);

private:
    void draw();

    std::string title_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    InterruptHold& interrupt_;
    bool live_;
    std::chrono::steady_clock::time_point lastDrawn_{};
};

} // namespace workbench::exchange
