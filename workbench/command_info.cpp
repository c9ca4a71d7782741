#include "workbench/command_info.h"

#include <iostream>
#include <memory>
#include <string>

#include "workbench/module.h"

namespace workbench {

namespace {

void print_info(const std::string& path) {
    const Module module = load_module(path);
    const auto line = [](const char* label, const char* text) {
        std::cout << label << (text == nullptr || text[0] == '\0' ? "(none)" : text) << "\n";
    };
    line("Name:        ", module.getPluginName());
    line("Version:     ", module.getPluginVersion());
    line("Author:      ", module.getAuthor());
    line("Description: ", module.getPluginDescription());
    line("Help file:   ", module.getHelpFile());
    line("GUI script:  ", module.getGUIScript());
}

} // namespace

void add_info_command(CLI::App& app) {
    auto path = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("info", "Show what a module says of itself");
    command->add_option("MODULE", *path, "the module, e.g. build/release/OridanArtifactRemoval.so")->required();
    command->footer("Example:\n  workbench info build/release/OridanArtifactRemoval.so\n");
    command->callback([path] { print_info(*path); });
}

} // namespace workbench
