#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace workbench {

/// How far a batch has come: a few lines that are redrawn at the foot of the terminal (standard error). Without a
/// terminal it shows nothing.
class Overview {
public:
    /// @param bytes  size of each recording that is to be cleaned, for the time that is left
    /// @param finishedBefore  jobs of the batch besides these
    Overview(std::vector<std::string> names, std::vector<std::uint64_t> bytes, std::size_t finishedBefore,
             std::size_t width, bool live);
    ~Overview();
    Overview(const Overview&) = delete;
    Overview& operator=(const Overview&) = delete;

    void started(std::size_t job);
    void ended(std::size_t job, bool succeeded);
    void draw();
    void clear(); ///< before anything else is printed

    /// "7 of 20 done, 1 failed, 2 running, 3:10 min left"
    std::string counts() const;
    /// Seconds until all are done, from the bytes that were cleaned so far; negative while nobody knows.
    double seconds_left() const;

private:
    using Clock = std::chrono::steady_clock;
    struct Running {
        std::size_t job;
        Clock::time_point since;
    };

    std::vector<std::string> names_;
    std::vector<std::uint64_t> bytes_;
    std::size_t finishedBefore_;
    std::size_t width_;
    bool live_;
    std::size_t done_ = 0;
    std::size_t failed_ = 0;
    std::uint64_t bytesDone_ = 0;
    std::uint64_t bytesToDo_ = 0; // of jobs that have not ended
    double secondsDone_ = 0.0;
    std::vector<Running> running_;
    std::size_t linesShown_ = 0;
};

} // namespace workbench
