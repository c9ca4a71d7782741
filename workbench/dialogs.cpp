#include "workbench/dialogs.h"

#include <iostream>

#include "workbench/whole_number.h"

namespace workbench {

namespace {

struct Known {
    bool prompt; ///< one of the module's own questions
    std::optional<int> answer;
};

// The setting that stands for a prompt, recognised by a phrase of it.
Known known_answer(const RunSettings& settings, const std::string& prompt) {
    const std::optional<int> condition =
        settings.condition ? std::optional<int>(*settings.condition + 1) : std::nullopt;
    const struct {
        const char* phrase;
        std::optional<int> answer;
    } table[] = {{"condition with the artifact triggers", condition},
                 {"pre-trigger time", settings.pre},
                 {"post-trigger time", settings.post},
                 {"artifacts per segment", settings.segment},
                 {"number of desired PCs", settings.components}};
    for (const auto& entry : table) {
        if (prompt.find(entry.phrase) != std::string::npos) {
            return {true, entry.answer};
        }
    }
    return {false, std::nullopt};
}

} // namespace

std::optional<int> ask_integer(const std::string& question, int defaultValue, int minValue, int maxValue) {
    const std::string range = std::to_string(minValue) + " to " + std::to_string(maxValue);
    const bool defaultFits = defaultValue >= minValue && defaultValue <= maxValue;
    const std::string offer =
        " [" + range + (defaultFits ? ", Enter for " + std::to_string(defaultValue) : "") + ", q to cancel]: ";
    for (;;) {
        const std::optional<std::string> line = ask_line(question + offer);
        if (!line) {
            return std::nullopt;
        }
        const std::optional<int> number = line->empty() && defaultFits ? defaultValue : whole_number(*line);
        if (number && *number >= minValue && *number <= maxValue) {
            return number;
        }
        std::cerr << "Please enter a whole number from " << range << ".\n";
    }
}

int answer_integer(const DialogAnswers& answers, const std::string& prompt, int defaultValue, int minValue,
                   int maxValue) {
    const Known known = known_answer(answers.settings, prompt);
    std::optional<int> answer = known.answer;
    if (!known.prompt && answers.askOnTerminal && minValue <= maxValue) {
        answer = ask_integer(prompt, defaultValue, minValue, maxValue);
    } else if (!known.prompt) {
        std::cerr << "workbench: nothing answers the module's question: " << prompt << "\n";
    }
    return answer && *answer >= minValue && *answer <= maxValue ? *answer : cancelled;
}

std::optional<std::string> answer_file(const DialogAnswers& answers, const std::string& filter) {
    return filter == "*.prt" ? answers.protocolFile : answers.dataFile;
}

std::optional<std::string> ask_line(const std::string& question) {
    std::cerr << question << std::flush;
    std::string line;
    if (!std::getline(std::cin, line)) {
        std::cerr << "\n";
        return std::nullopt;
    }
    if (line == "q") {
        return std::nullopt;
    }
    return line;
}

} // namespace workbench
