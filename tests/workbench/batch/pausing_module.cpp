// A module for tests of batches: the real one (REAL_MODULE), which the first runs get. When as many runs have begun as
// the environment variable PAUSE_AFTER says, the next ones stay where they are until they are killed.

#include <cstdlib>
#include <fstream>
#include <string>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include "plugin/entry_points.h"
#include "plugin/nivora_plugin_interface.h"

namespace {

std::string setting(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

// One of the places for runs that go through, which files in PAUSE_FOLDER stand for.
bool take_place(const std::string& folder, int places) {
    for (int i = 0; i < places; ++i) {
        const int descriptor = open((folder + "/begun" + std::to_string(i)).c_str(), O_CREAT | O_EXCL | O_WRONLY, 0600);
        if (descriptor >= 0) {
            close(descriptor);
            return true;
        }
    }
    return false;
}

template <class Function>
Function real(const char* name) {
    void* module = dlopen(setting("REAL_MODULE").c_str(), RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<Function>(dlsym(module, name));
}

} // namespace

const char* getPluginName() {
    return "pausing";
}
const char* getPluginDescription() {
    return "";
}
const char* getAuthor() {
    return "";
}
const char* getHelpFile() {
    return "";
}
const char* getPluginVersion() {
    return "";
}
const char* getGUIScript() {
    return "";
}
NivoraPluginInterface* createPlugin() {
    const std::string places = setting("PAUSE_AFTER");
    const std::string folder = setting("PAUSE_FOLDER");
    if (!places.empty() && !take_place(folder, std::atoi(places.c_str()))) {
        std::ofstream(folder + "/waiting" + std::to_string(getpid())) << "yes";
        while (true) {
            pause();
        }
    }
    return real<NivoraPluginInterface* (*)()>("createPlugin")();
}
