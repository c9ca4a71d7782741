#include "workbench/module.h"

#include <dlfcn.h>

#include <string>

#include "workbench/input_error.h"

namespace workbench {

namespace {

template <class Function>
void find(void* library, const std::filesystem::path& path, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr) {
        throw InputError(path.string() + " is not a plug-in module: it has no function " + name);
    }
}

} // namespace

Module load_module(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        const std::string reason = error ? " (" + error.message() + ")" : "";
        throw InputError("there is no module " + path.string() + reason +
                         "; give the path of OridanArtifactRemoval.so");
    }
    // An absolute path: a bare file name would be looked up in the system's library folders.
    void* library = dlopen(std::filesystem::absolute(path).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw InputError("cannot load the module " + path.string() + ": " + dlerror());
    }
    Module module{};
    find(library, path, "getPluginName", module.getPluginName);
    find(library, path, "getPluginDescription", module.getPluginDescription);
    find(library, path, "getAuthor", module.getAuthor);
    find(library, path, "getHelpFile", module.getHelpFile);
    find(library, path, "getPluginVersion", module.getPluginVersion);
    find(library, path, "getGUIScript", module.getGUIScript);
    find(library, path, "createPlugin", module.createPlugin);
    return module;
}

} // namespace workbench
