#pragma once

#include <filesystem>

#include "plugin/nivora_plugin_interface.h"

namespace workbench {

/// The seven functions of a loaded module.
struct Module {
    const char* (*getPluginName)();
    const char* (*getPluginDescription)();
    const char* (*getAuthor)();
    const char* (*getHelpFile)();
    const char* (*getPluginVersion)();
    const char* (*getGUIScript)();
    NivoraPluginInterface* (*createPlugin)();
};

/// Loads a module as the workbench does: every symbol resolved at once, none shared with others. It stays loaded.
/// Throws InputError when the file is not a module or lacks one of the seven functions.
Module load_module(const std::filesystem::path& path);

} // namespace workbench
