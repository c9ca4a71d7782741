#pragma once

#include <optional>
#include <string>

namespace workbench {

/// Answers to the module's dialogs, from options. What is missing is asked on the terminal, if there is one.
struct DialogAnswers {
    std::optional<std::string> dataFile;
    std::optional<std::string> protocolFile;
    std::optional<int> condition; ///< 1-based
    std::optional<int> pre;       ///< ms
    std::optional<int> post;      ///< ms
    std::optional<int> segment;
    std::optional<int> components;
    bool askOnTerminal = false;
};

constexpr int cancelled = -1; ///< what a dialog answers that the user leaves without a number

/// Answers an integer dialog: the option that stands for the prompt, else the user's reply, else `cancelled`.
/// A number outside minValue..maxValue is never answered.
int answer_integer(const DialogAnswers& answers, const std::string& prompt, int defaultValue, int minValue,
                   int maxValue);

/// Answers a file dialog; nullopt when none is chosen.
std::optional<std::string> answer_file(const DialogAnswers& answers, const std::string& filter);

/// Asks for a line on the terminal. nullopt at the end of input, or when the user types q.
std::optional<std::string> ask_line(const std::string& question);

} // namespace workbench
