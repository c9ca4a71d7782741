#include "workbench/batch/overview.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

#include "workbench/input_file.h"
#include "workbench/log_pane.h"

namespace workbench {

namespace {

constexpr std::size_t mostJobsShown = 12;

std::size_t terminal_columns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

// No wider than the terminal: a line that wrapped could not be redrawn. Cut between characters.
std::string cut(const std::string& line, std::size_t columns) {
    std::size_t shown = 0;
    for (std::size_t at = 0; at < line.size(); at += std::max<std::size_t>(1, utf8_length(line, at))) {
        if (++shown >= columns) {
            return line.substr(0, at);
        }
    }
    return line;
}

} // namespace

Overview::Overview(std::vector<std::string> names, std::vector<std::uint64_t> bytes, std::size_t finishedBefore,
                   std::size_t width, bool live)
    : names_(std::move(names)), bytes_(std::move(bytes)), finishedBefore_(finishedBefore), width_(width), live_(live) {
    for (const std::uint64_t size : bytes_) {
        bytesToDo_ += size;
    }
}

Overview::~Overview() {
    clear();
}

void Overview::started(std::size_t job) {
    running_.push_back({job, Clock::now()});
}

void Overview::ended(std::size_t job, bool succeeded) {
    ++(succeeded ? done_ : failed_);
    bytesToDo_ -= bytes_[job];
    const auto place =
        std::find_if(running_.begin(), running_.end(), [&](const Running& running) { return running.job == job; });
    if (place != running_.end()) {
        if (succeeded) {
            bytesDone_ += bytes_[job];
            secondsDone_ += std::chrono::duration<double>(Clock::now() - place->since).count();
        }
        running_.erase(place);
    }
}

double Overview::seconds_left() const {
    if (bytesDone_ == 0) {
        return -1.0;
    }
    double work = static_cast<double>(bytesToDo_) * secondsDone_ / static_cast<double>(bytesDone_);
    for (const Running& running : running_) {
        work -= std::chrono::duration<double>(Clock::now() - running.since).count();
    }
    return std::max(0.0, work) / static_cast<double>(width_);
}

std::string Overview::counts() const {
    std::string text =
        std::to_string(finishedBefore_ + done_) + " of " + std::to_string(finishedBefore_ + names_.size()) + " done";
    text += failed_ == 0 ? "" : ", " + std::to_string(failed_) + " failed";
    text += running_.empty() ? "" : ", " + std::to_string(running_.size()) + " running";
    return text + (seconds_left() < 0.0 ? "" : ", " + duration_text(seconds_left()) + " left");
}

void Overview::draw() {
    if (!live_) {
        return;
    }
    const std::size_t columns = terminal_columns();
    std::vector<std::string> lines{counts()};
    for (const Running& running : running_) {
        if (lines.size() > mostJobsShown) {
            lines.push_back("  ... and " + std::to_string(running_.size() - mostJobsShown) + " more");
            break;
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - running.since).count();
        char time[32];
        std::snprintf(time, sizeof time, "%10s", duration_text(seconds).c_str());
        lines.push_back(std::string(time) + "  " + printable(names_[running.job]));
    }
    clear();
    for (const std::string& line : lines) {
        std::fprintf(stderr, "%s\n", cut(line, columns).c_str());
    }
    std::fflush(stderr);
    linesShown_ = lines.size();
}

void Overview::clear() {
    if (linesShown_ > 0) {
        std::fprintf(stderr, "\033[%zuA\033[J", linesShown_);
        std::fflush(stderr);
        linesShown_ = 0;
    }
}

} // namespace workbench
