#include "workbench/command_completion.h"

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "workbench/completion.h"
#include "workbench/manual_page.h"
#include "workbench/pending_file.h"

namespace workbench {

namespace {

void write_manual_pages(const CLI::App& program, const std::filesystem::path& folder) {
    std::vector<const CLI::App*> commands =
        program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
    commands.push_back(&program);
    for (const CLI::App* command : commands) {
        PendingFile file(folder / (manual_page_name(program, *command) + ".1"), true);
        file.stream() << manual_page(program, *command);
        file.commit();
    }
}

} // namespace

void add_completion_commands(CLI::App& app) {
    const auto shell = std::make_shared<std::string>();
    CLI::App* completion = app.add_subcommand("completion", "Print what makes a shell complete this program's words");
    completion->add_option("SHELL", *shell, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
    const std::string name = app.get_name();
    completion->footer("Installed packages bring it along. Elsewhere, in the shell's start file:\n"
                       "Example:\n  source <(" +
                       name + " completion bash)\n");
    completion->callback([shell, name] { std::cout << completion_script(*shell, name); });

    const std::string hidden; // an empty group is not shown
    const auto words = std::make_shared<std::vector<std::string>>();
    CLI::App* complete = app.add_subcommand("complete", "Tell what may stand for the last word")->group(hidden);
    complete->add_option("WORD", *words);
    complete->callback([&app, words] { std::cout << completion_text(workbench::complete(app, *words)); });

    const auto folder = std::make_shared<std::string>();
    CLI::App* manual = app.add_subcommand("manual", "Write the manual pages into a folder")->group(hidden);
    manual->add_option("FOLDER", *folder)->required();
    manual->callback([&app, folder] { write_manual_pages(app, *folder); });
}

} // namespace workbench
