#include "workbench/exchange/progress.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <unistd.h>

namespace workbench::exchange {

Progress::Progress(std::string title, std::uint64_t total, InterruptHold& interrupt)
    : title_(std::move(title)), total_(std::max<std::uint64_t>(total, 1)), interrupt_(interrupt),
      live_(::isatty(STDERR_FILENO) == 1) {
    if (live_) {
        draw();
    }
}

Progress::~Progress() {
    if (live_) {
        std::fprintf(stderr, "\r\033[K");
    }
}

void Progress::draw() {
    std::fprintf(stderr, "\r\033[K%3u %%  %s", static_cast<unsigned int>(100 * std::min(done_, total_) / total_),
                 title_.c_str());
    lastDrawn_ = std::chrono::steady_clock::now();
}

void Progress::advance(std::uint64_t steps) {
    done_ += steps;
    interrupt_.throw_if_arrived();
    if (live_ && std::chrono::steady_clock::now() - lastDrawn_ > std::chrono::milliseconds(100)) {
        draw();
    }
}

} // namespace workbench::exchange
