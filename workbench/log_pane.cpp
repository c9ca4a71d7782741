#include "workbench/log_pane.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace workbench {

namespace {

constexpr const char* logPrefix = "// OridanSuite> ";
constexpr const char* completedLine = "// OridanSuite> Artifact template removal completed!";

double seconds_between(std::chrono::steady_clock::time_point from, std::chrono::steady_clock::time_point to) {
    return std::chrono::duration<double>(to - from).count();
}

} // namespace

LogPane::LogPane(Verbosity verbosity, bool onTerminal)
    : verbosity_(verbosity), live_(onTerminal && verbosity == Verbosity::normal) {}

void LogPane::log(const std::string& text) {
    int segment = 0;
    int nSegments = 0;
    int channel = 0;
    int nChannels = 0;
    if (live_ && std::sscanf(text.c_str(), "// OridanSuite>>>>>> Processing segment %d/%d of channel %d / %d", &segment,
                             &nSegments, &channel, &nChannels) == 4) {
        show_progress(segment, nSegments, channel, nChannels);
        return;
    }
    if (live_ && lineIsOpen_ && text.empty()) {
        return; // the blank lines between channels
    }
    completed_ = completed_ || text == completedLine;
    if (text.size() > std::strlen(logPrefix) && text.find("Exiting plugin.") != std::string::npos) {
        reason_ = text.substr(std::strlen(logPrefix));
    }
    if (verbosity_ != Verbosity::quiet) {
        close_live_line();
        std::printf("%s\n", text.c_str());
        std::fflush(stdout);
    }
}

void LogPane::message_box(const std::string& text) {
    close_live_line();
    reason_ = text;
    std::replace(reason_.begin(), reason_.end(), '\n', ' ');
    std::fprintf(stderr, "%s\n", text.c_str());
}

void LogPane::busy(bool on) {
    detail(on ? "[busy]" : "[ready]");
}

void LogPane::detail(const std::string& text) {
    if (verbosity_ == Verbosity::verbose) {
        close_live_line();
        std::printf("%s\n", text.c_str());
        std::fflush(stdout);
    }
}

void LogPane::close_live_line() {
    if (lineIsOpen_) {
        std::printf("\r\033[K");
        std::fflush(stdout);
        lineIsOpen_ = false;
    }
}

void LogPane::show_progress(int segment, int nSegments, int channel, int nChannels) {
    const auto now = std::chrono::steady_clock::now();
    const bool first = segment == 1 && channel == 1;
    if (first) {
        firstSegment_ = now;
    } else if (seconds_between(lastDrawn_, now) < 0.1) {
        return;
    }
    lastDrawn_ = now;
    // The line announces a segment that is about to start.
    const double done = static_cast<double>(channel - 1) * nSegments + (segment - 1);
    const double fraction = done / (static_cast<double>(nSegments) * nChannels);
    std::string left;
    if (done > 0.0) {
        left = ", " + duration_text(seconds_between(firstSegment_, now) * (1.0 - fraction) / fraction) + " left";
    }
    std::printf("\r\033[K%3.0f %%  channel %d of %d, segment %d of %d%s", 100.0 * fraction, channel, nChannels, segment,
                nSegments, left.c_str());
    std::fflush(stdout);
    lineIsOpen_ = true;
}

std::string duration_text(double seconds) {
    const long whole = std::lround(seconds);
    char text[64];
    if (whole < 60) {
        std::snprintf(text, sizeof text, "%ld s", whole);
    } else if (whole < 3600) {
        std::snprintf(text, sizeof text, "%ld:%02ld min", whole / 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld:%02ld h", whole / 3600, whole % 3600 / 60);
    }
    return text;
}

} // namespace workbench
