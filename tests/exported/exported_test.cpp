// The module in a process that has none of the workbench's functions.

#include <memory>
#include <string>

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "plugin/nivora_plugin_interface.h"

namespace {

void* load_module() {
    return dlopen(ORIDAN_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
}

TEST(Module, LoadsWithEverySymbolResolved) {
    void* module = load_module();
    ASSERT_NE(module, nullptr) << dlerror();
    for (const char* name :
         {"getPluginName", "getPluginDescription", "getAuthor", "getHelpFile", "getPluginVersion", "getGUIScript"}) {
        const auto text = reinterpret_cast<const char* (*)()>(dlsym(module, name));
        ASSERT_NE(text, nullptr) << name;
        EXPECT_NE(text(), nullptr) << name;
    }
}

TEST(Module, RunsToItsFirstExitWithoutAWorkbench) {
    const auto create = reinterpret_cast<NivoraPluginInterface* (*)()>(dlsym(load_module(), "createPlugin"));
    ASSERT_NE(create, nullptr);
    const std::unique_ptr<NivoraPluginInterface> plugin(create());
    EXPECT_TRUE(plugin->initPlugin());
    EXPECT_FALSE(plugin->execute());
}

} // namespace
