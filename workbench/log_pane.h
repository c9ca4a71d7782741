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

    bool completed() const { return completed_; } ///< the module logged that the run reached its end
    /// Why the module ended the run early, in its own words on one line; empty when it said nothing.
    const std::string& reason() const { return reason_; }

private:
    void show_progress(int segment, int nSegments, int channel, int nChannels);

    Verbosity verbosity_;
    bool live_;
    bool lineIsOpen_ = false;
    bool completed_ = false;
    std::string reason_;
    std::chrono::steady_clock::time_point firstSegment_{};
    std::chrono::steady_clock::time_point lastDrawn_{};
};

/// "3 s", "2:05 min", "1:02 h".
std::string duration_text(double seconds);

} // namespace workbench
