#include "tools/job.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <unistd.h>

namespace tools {

Job::Job(std::string title, std::uint64_t total, workbench::InterruptHold* interrupt, bool shown)
    : title_(std::move(title)), total_(std::max<std::uint64_t>(total, 1)), interrupt_(interrupt),
      live_(shown && isatty(STDERR_FILENO) == 1) {
    if (live_) {
        draw();
    }
}

Job::~Job() {
    if (live_) {
        std::fprintf(stderr, "\r\033[K");
    }
}

void Job::draw() {
    const auto percent = static_cast<unsigned int>(100 * std::min(done_, total_) / total_);
    std::fprintf(stderr, "\r\033[K%3u %%  %s", percent, title_.c_str());
    lastDrawn_ = std::chrono::steady_clock::now();
}

void Job::advance(std::uint64_t elements) {
    done_ += elements;
    if (interrupt_ != nullptr) {
        interrupt_->throw_if_arrived();
    }
    if (live_ && std::chrono::steady_clock::now() - lastDrawn_ > std::chrono::milliseconds(100)) {
        draw();
    }
}

} // namespace tools
