#pragma once

#include <optional>
#include <string>

#include "workbench/run_settings.h"

namespace workbench {

/// Answers to the module's dialogs.
struct DialogAnswers {
    std::optional<std::string> dataFile;
    std::optional<std::string> protocolFile;
    RunSettings settings;       ///< a setting that is missing was cancelled
    bool askOnTerminal = false; ///< questions of other kinds are asked there
};

constexpr int cancelled = -1; ///< what a dialog answers that the user leaves without a number

/// Answers an integer dialog of the module: the setting that stands for the prompt, else the user's reply, else
/// `cancelled`. Any other answer lies in minValue..maxValue.
int answer_integer(const DialogAnswers& answers, const std::string& prompt, int defaultValue, int minValue,
                   int maxValue);

/// Answers a file dialog; nullopt when none is chosen.
std::optional<std::string> answer_file(const DialogAnswers& answers, const std::string& filter);

/// Asks for a number on the terminal, again until one in minValue..maxValue comes; Enter gives the default where that
/// lies within. nullopt when the user cancels.
std::optional<int> ask_integer(const std::string& question, int defaultValue, int minValue, int maxValue);

/// Asks for a line on the terminal (through standard error, which is seen where standard output is not). nullopt at the
/// end of input, or when the user types q.
std::optional<std::string> ask_line(const std::string& question);

} // namespace workbench
