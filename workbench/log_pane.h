#pragma once

#include <chrono>
#include <string>

namespace workbench {

enum class Verbosity { quiet, normal, verbose };

/// The log pane: standard output. On a terminal the module's "Processing segment" lines become one live line with
/// percentage and time left; elsewhere, and when verbose, they are printed as they come. Quiet prints none of it.
class LogPane {
public:
    LogPane(Verbosity verbosity, bool onTerminal);

    void log(const std::string& text);
    void message_box(const std::string& text); ///< standard error, whatever the verbosity
    void busy(bool on);
    void detail(const std::string& text); ///< printed when verbose
    void close_live_line();

    bool completed() const { return reachedEnd; } ///< the module logged that the run reached its end

private:
    void show_progress(int segment, int nSegments, int channel, int nChannels);

    Verbosity level;
    bool live;
    bool lineIsOpen = false;
    bool reachedEnd = false;
    std::chrono::steady_clock::time_point firstSegment{};
    std::chrono::steady_clock::time_point lastDrawn{};
};

/// "3 s", "2:05 min", "1:02 h".
std::string duration_text(double seconds);

} // namespace workbench
