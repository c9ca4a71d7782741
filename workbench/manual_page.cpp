#include "workbench/manual_page.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <vector>

#include "workbench/option_value.h"
#include "workbench/program.h"

namespace workbench {

namespace {

// Text as it stands: no character of it means anything to the formatter.
std::string plain(const std::string& text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '\\':
            result += "\\e";
            break;
        case '-':
            result += "\\-";
            break;
        case '~':
            result += "\\(ti";
            break;
        case '^':
            result += "\\(ha";
            break;
        case '\'':
            result += "\\(aq";
            break;
        case '`':
            result += "\\(ga";
            break;
        default:
            result += c;
        }
    }
    return result;
}

// A line that begins with a dot would be a request.
std::string plain_line(const std::string& text) {
    return (text.empty() || text[0] != '.' ? "" : "\\&") + plain(text);
}

// Prose in lines of a readable length; the formatter fills its own.
std::string prose(const std::string& text) {
    std::istringstream stream(text);
    std::string result;
    std::string line;
    for (std::string word; stream >> word;) {
        if (!line.empty() && plain(line).size() + 1 + plain(word).size() > 78) {
            result += plain_line(line) + "\n";
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return result + plain_line(line);
}

std::string joined(const std::vector<std::string>& parts, const char* between) {
    std::string result;
    for (const std::string& part : parts) {
        result += (result.empty() ? "" : between) + part;
    }
    return result;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string bold(const std::string& text) {
    return "\\fB" + plain(text) + "\\fR";
}

std::string italic(const std::string& text) {
    return "\\fI" + plain(text) + "\\fR";
}

std::string value_name(const OptionValue& value) {
    if (!value.choices.empty()) {
        return joined(value.choices, "|");
    }
    const std::string name = value.number ? "N" : value.fileEndings.empty() ? "TEXT" : "FILE";
    return value.optional ? "[" + name + "]" : name;
}

std::string argument_name(const CLI::Option& option) {
    const std::string name = italic(option.get_name(true));
    return option.get_items_expected_max() > 1 ? name + " ..." : name;
}

std::string option_names(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back(bold("-" + name));
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back(bold("--" + name));
    }
    const OptionValue value = option_value(option);
    return joined(names, ", ") + (value.none ? "" : " " + italic(value_name(value)));
}

std::string short_synopsis(const CLI::Option& option) {
    const OptionValue value = option_value(option);
    const std::string name =
        option.get_lnames().empty() ? "-" + option.get_snames().front() : "--" + option.get_lnames().front();
    return bold(name) + (value.none ? "" : " " + italic(value_name(value)));
}

std::vector<const CLI::Option*> arguments_of(const CLI::App& command) {
    return command.get_options([](const CLI::Option* option) { return !option->nonpositional(); });
}

std::vector<const CLI::Option*> options_of(const CLI::App& command) {
    return command.get_options(
        [](const CLI::Option* option) { return option->nonpositional() && !option->get_group().empty(); });
}

std::vector<const CLI::App*> commands_of(const CLI::App& program) {
    return program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::string synopsis(const CLI::App& program, const CLI::App& command) {
    if (&program == &command) {
        return bold(program.get_name()) + " " + italic("COMMAND") + " [" + italic("options") + "]\n";
    }
    std::string text = bold(program.get_name() + " " + command.get_name());
    for (const CLI::Option* option : arguments_of(command)) {
        text += option->get_required() ? " " + argument_name(*option) : " [" + argument_name(*option) + "]";
    }
    for (const CLI::Option* option : options_of(command)) {
        text += option->get_required() ? " " + short_synopsis(*option) : "";
    }
    return text + " [" + italic("options") + "]\n";
}

std::string described(const CLI::Option& option, const std::string& name) {
    const OptionValue value = option_value(option);
    std::vector<std::string> remarks;
    if (option.nonpositional() && option.get_required()) {
        remarks.push_back("required");
    }
    if (!value.range.empty()) {
        remarks.push_back(value.range);
    }
    if (!option.get_default_str().empty()) {
        remarks.push_back("default " + option.get_default_str());
    }
    const std::string ending = remarks.empty() ? "" : " (" + joined(remarks, "; ") + ")";
    return ".TP\n" + name + "\n" + prose(option.get_description() + ending) + "\n";
}

// Paragraphs; lines that begin with a blank are shown as they are.
std::string formatted(const std::vector<std::string>& lines) {
    std::string text;
    bool example = false;
    for (const std::string& line : lines) {
        const bool indented = !line.empty() && line[0] == ' ';
        if (indented != example) {
            text += !indented ? ".RE\n.fi\n.PP\n" : text.empty() ? ".nf\n.RS\n" : ".PP\n.nf\n.RS\n";
            example = indented;
        }
        const std::size_t first = line.find_first_not_of(' ');
        if (line.empty()) {
            text += ".PP\n";
        } else {
            text += (indented ? plain_line(line.substr(std::min<std::size_t>(first, 2))) : prose(line)) + "\n";
        }
    }
    return text + (example ? ".RE\n.fi\n" : "");
}

std::string footer(const CLI::App& command) {
    std::vector<std::string> notes;
    std::vector<std::string> examples;
    bool inExamples = false;
    for (const std::string& line : lines_of(command.get_footer())) {
        inExamples = inExamples || line.compare(0, 7, "Example") == 0;
        if (line != "Example:") { // the heading says it
            (inExamples ? examples : notes).push_back(line);
        }
    }
    return (notes.empty() ? "" : ".SH NOTES\n" + formatted(notes)) +
           (examples.empty() ? "" : ".SH EXAMPLES\n" + formatted(examples));
}

const char* exitStatus = ".SH \"EXIT STATUS\"\n"
                         ".TP\n.B 0\ndone\n"
                         ".TP\n.B 1\nbegun and not completed; the lines before say why\n"
                         ".TP\n.B 2\nsomething given cannot be used: one line says what, and what to do\n"
                         ".TP\n.B 130\ninterrupted\n";

std::string see_also(const CLI::App& program, const CLI::App& command) {
    std::vector<std::string> pages;
    if (&program != &command) {
        pages.push_back(bold(program.get_name()) + "(1)");
    }
    for (const CLI::App* other : commands_of(program)) {
        if (other != &command) {
            pages.push_back(bold(manual_page_name(program, *other)) + "(1)");
        }
    }
    return ".SH \"SEE ALSO\"\n" + joined(pages, ",\n") + "\n";
}

} // namespace

std::string manual_page_name(const CLI::App& program, const CLI::App& command) {
    return &program == &command ? program.get_name() : program.get_name() + "-" + command.get_name();
}

std::string manual_page(const CLI::App& program, const CLI::App& command) {
    const std::string name = manual_page_name(program, command);
    std::string title = name;
    for (char& c : title) {
        c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    }
    std::string text = ".TH " + title + " 1 \"" + program_date() + "\" \"" + program.get_name() + " " +
                       program_version() + "\" \"Oridan\"\n";
    text += ".SH NAME\n" + plain(name) + " \\- " + plain(lines_of(command.get_description()).front()) + "\n";
    text += ".SH SYNOPSIS\n" + synopsis(program, command);
    text += ".SH DESCRIPTION\n" + formatted(lines_of(command.get_description()));
    if (&program == &command) {
        text += ".SH COMMANDS\n";
        for (const CLI::App* one : commands_of(program)) {
            text += ".TP\n" + bold(one->get_name()) + "\n" + prose(one->get_description()) + "\n";
        }
    }
    if (!arguments_of(command).empty()) {
        text += ".SH ARGUMENTS\n";
        for (const CLI::Option* option : arguments_of(command)) {
            text += described(*option, argument_name(*option));
        }
    }
    text += ".SH OPTIONS\n";
    for (const CLI::Option* option : options_of(command)) {
        text += described(*option, option_names(*option));
    }
    return text + footer(command) + exitStatus + see_also(program, command);
}

} // namespace workbench
