#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <vector>

#include <sys/types.h>

#include "workbench/batch/batch_lock.h"
#include "workbench/batch/job_work.h"
#include "workbench/interrupt.h"

namespace workbench {

/// What the pool tells while it works. Jobs are named by their place in the list that it was given.
struct PoolEvents {
    std::function<void(std::size_t)> started;
    std::function<void(std::size_t)> ended;
    std::function<void()> tick; ///< several times a second
};

/// Does jobs in processes of their own, so many at a time, in order. A job's process goes with everything it started:
/// with the pool's process, should that be killed, and at an interrupt.
class JobPool {
public:
    JobPool(const BatchSettings& settings, const BatchLock& lock, std::size_t width);

    /// @return 0 when all jobs came to their end, or the number of the signal that interrupted them. What was half done
    /// is cleared up then.
    int run(const std::vector<Job>& jobs, const PoolEvents& events);

private:
    struct Running {
        pid_t process;
        std::size_t job;
    };

    void start(const Job& job, std::size_t place, const InterruptHold& hold);
    void reap(const PoolEvents& events);
    void stop_all(const std::vector<Job>& jobs);

    const BatchSettings& settings_;
    const BatchLock& lock_;
    std::size_t width_;
    std::vector<Running> running_;
};

} // namespace workbench
