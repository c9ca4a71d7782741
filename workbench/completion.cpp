#include "workbench/completion.h"

#include <algorithm>
#include <cstddef>

#include "workbench/input_error.h"
#include "workbench/option_value.h"
#include "workbench/protocol_file.h"

namespace workbench {

namespace {

bool looks_like_option(const std::string& word) {
    return word.size() > 1 && word[0] == '-';
}

// Where a command line stands before its last word.
struct Line {
    const CLI::App* command;
    const CLI::Option* awaiting = nullptr; // an option whose value comes next
    std::size_t arguments = 0;             // words that are neither options nor their values
    std::vector<const CLI::Option*> used;
    std::string protocol;

    // A word that begins with a dash is an option where the value before it may be left out.
    bool value_comes(const std::string& word) const {
        return awaiting != nullptr && !(looks_like_option(word) && option_value(*awaiting).optional);
    }
};

std::string long_name(const CLI::Option& option) {
    return option.get_lnames().empty() ? "-" + option.get_snames().front() : "--" + option.get_lnames().front();
}

const CLI::Option* find_option(const CLI::App& command, const std::string& word) {
    for (const CLI::Option* option : command.get_options()) {
        if (option->nonpositional() && option->check_name(word)) {
            return option;
        }
    }
    return nullptr;
}

std::vector<const CLI::App*> shown_commands(const CLI::App& program) {
    return program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

void take_option(Line& line, const std::string& word) {
    const std::size_t equals = word.find('=');
    const CLI::Option* option = find_option(*line.command, word.substr(0, equals));
    if (option == nullptr) {
        return;
    }
    line.used.push_back(option);
    if (equals == std::string::npos && !option_value(*option).none) {
        line.awaiting = option;
    }
}

Line read_line(const CLI::App& program, const std::vector<std::string>& words) {
    Line line{&program, nullptr, 0, {}, ""};
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        const std::string& word = words[i];
        if (line.awaiting != nullptr && word == "=") {
            continue;
        }
        if (line.value_comes(word)) {
            line.protocol = line.awaiting->check_lname("protocol") ? word : line.protocol;
            line.awaiting = nullptr;
        } else if (looks_like_option(word)) {
            line.awaiting = nullptr;
            take_option(line, word);
        } else if (line.command == &program) {
            const auto commands = shown_commands(program);
            const auto found = std::find_if(commands.begin(), commands.end(),
                                            [&](const CLI::App* command) { return command->get_name() == word; });
            line.command = found == commands.end() ? line.command : *found;
        } else {
            ++line.arguments;
        }
    }
    return line;
}

std::string first_line(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

void add_conditions(const std::string& protocolFile, Completion& completion) {
    try {
        for (const ProtocolCondition& condition : read_protocol(protocolFile).conditions) {
            completion.words.push_back({condition.name, std::to_string(condition.intervals.size()) + " triggers"});
        }
    } catch (const InputError&) {
        // No names then: this is no place to complain.
    }
}

void add_values(const CLI::Option& option, const std::string& protocolFile, Completion& completion) {
    const OptionValue value = option_value(option);
    for (const std::string& choice : value.choices) {
        completion.words.push_back({choice, ""});
    }
    if (option.check_lname("condition")) {
        add_conditions(protocolFile, completion);
    } else if (value.choices.empty() && !value.number) {
        completion.files = true;
        completion.fileEndings = value.fileEndings;
    }
}

void add_options(const Line& line, Completion& completion) {
    for (const CLI::Option* option : line.command->get_options()) {
        const bool again = option->get_items_expected_max() > 1;
        const bool used = std::find(line.used.begin(), line.used.end(), option) != line.used.end();
        if (option->nonpositional() && !option->get_group().empty() && (again || !used)) {
            completion.words.push_back({long_name(*option), first_line(option->get_description())});
        }
    }
}

// The argument that comes next; the last one where it takes any number of words.
const CLI::Option* next_argument(const Line& line) {
    std::size_t before = 0;
    for (const CLI::Option* option : line.command->get_options()) {
        if (option->nonpositional()) {
            continue;
        }
        before += static_cast<std::size_t>(std::max(1, option->get_items_expected_max()));
        if (line.arguments < before) {
            return option;
        }
    }
    return nullptr;
}

bool begins_with(const std::string& text, const std::string& beginning) {
    return text.compare(0, beginning.size(), beginning) == 0;
}

} // namespace

Completion complete(const CLI::App& program, const std::vector<std::string>& words) {
    Completion completion;
    const Line line = read_line(program, words);
    std::string last = words.empty() ? "" : words.back();
    if (line.value_comes(last)) {
        last = last == "=" ? "" : last;
        add_values(*line.awaiting, line.protocol, completion);
    } else if (looks_like_option(last) || last == "-") {
        add_options(line, completion);
    } else if (line.command == &program) {
        for (const CLI::App* command : shown_commands(program)) {
            completion.words.push_back({command->get_name(), first_line(command->get_description())});
        }
    } else if (const CLI::Option* argument = next_argument(line)) {
        add_values(*argument, line.protocol, completion);
    } else {
        add_options(line, completion);
    }
    std::erase_if(completion.words, [&](const CompletionWord& word) { return !begins_with(word.word, last); });
    return completion;
}

std::string completion_text(const Completion& completion) {
    std::string text = completion.files ? ":files" : ":";
    for (const std::string& ending : completion.fileEndings) {
        text += " " + ending;
    }
    text += "\n";
    for (const CompletionWord& word : completion.words) {
        text += word.word + "\t" + word.description + "\n";
    }
    return text;
}

} // namespace workbench
