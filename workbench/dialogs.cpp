#include "workbench/dialogs.h"

#include <charconv>
#include <iostream>

namespace workbench {

namespace {

// The option that stands for a prompt, recognised by a phrase of it; null for a prompt of another kind.
const std::optional<int>* option_for(const DialogAnswers& answers, const std::string& prompt) {
    const struct {
        const char* phrase;
        const std::optional<int>* option;
    } table[] = {{"condition with the artifact triggers", &answers.condition},
                 {"pre-trigger time", &answers.pre},
                 {"post-trigger time", &answers.post},
                 {"artifacts per segment", &answers.segment},
                 {"number of desired PCs", &answers.components}};
    for (const auto& entry : table) {
        if (prompt.find(entry.phrase) != std::string::npos) {
            return entry.option;
        }
    }
    return nullptr;
}

std::optional<int> number_in(const std::string& text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stop == end ? std::optional<int>(value) : std::nullopt;
}

int ask_integer(const std::string& prompt, int defaultValue, int minValue, int maxValue) {
    const std::string range = std::to_string(minValue) + " to " + std::to_string(maxValue);
    const bool defaultFits = defaultValue >= minValue && defaultValue <= maxValue;
    const std::string offer =
        " [" + range + (defaultFits ? ", Enter for " + std::to_string(defaultValue) : "") + ", q to cancel]: ";
    for (;;) {
        const std::optional<std::string> line = ask_line(prompt + offer);
        if (!line) {
            return cancelled;
        }
        const std::optional<int> number = line->empty() && defaultFits ? defaultValue : number_in(*line);
        if (number && *number >= minValue && *number <= maxValue) {
            return *number;
        }
        std::cerr << "Please enter a whole number from " << range << ".\n";
    }
}

} // namespace

int answer_integer(const DialogAnswers& answers, const std::string& prompt, int defaultValue, int minValue,
                   int maxValue) {
    const std::optional<int>* option = option_for(answers, prompt);
    if (option != nullptr && option->has_value()) {
        if (**option >= minValue && **option <= maxValue) {
            return **option;
        }
        std::cerr << "workbench: " << **option << " does not lie in " << minValue << " to " << maxValue
                  << ", which the module accepts for: " << prompt << "\n";
        return cancelled;
    }
    if (answers.askOnTerminal && minValue <= maxValue) {
        return ask_integer(prompt, defaultValue, minValue, maxValue);
    }
    std::cerr << "workbench: nothing answers the module's question: " << prompt << "\n";
    return cancelled;
}

std::optional<std::string> answer_file(const DialogAnswers& answers, const std::string& filter) {
    return filter == "*.prt" ? answers.protocolFile : answers.dataFile;
}

std::optional<std::string> ask_line(const std::string& question) {
    std::cout << question << std::flush;
    std::string line;
    if (!std::getline(std::cin, line)) {
        std::cout << "\n";
        return std::nullopt;
    }
    if (line == "q") {
        return std::nullopt;
    }
    return line;
}

} // namespace workbench
