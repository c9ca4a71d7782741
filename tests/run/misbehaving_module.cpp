// A module for tests of the workbench: does in execute what the environment variable MISBEHAVE says.

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <unistd.h>

#include "plugin/entry_points.h"
#include "plugin/nivora_plugin_interface.h"

namespace {

class MisbehavingPlugin : public NivoraPluginInterface {
public:
    bool initPlugin() override { return true; }
    bool execute() override {
        std::ofstream("recording_OBS.ctc") << "half";
        std::ofstream("_slice.trl") << "half";
        const char* how = std::getenv("MISBEHAVE");
        if (std::strcmp(how, "crash") == 0) {
            std::signal(SIGSEGV, SIG_DFL);
            std::raise(SIGSEGV);
        } else if (std::strcmp(how, "exit") == 0) {
            std::exit(1);
        } else if (std::strcmp(how, "hang") == 0) {
            std::ofstream(std::getenv("STARTED")) << "yes";
            for (;;) {
                pause();
            }
        }
        return true; // without the completed line
    }
};

} // namespace

const char* getPluginName() {
    return "misbehaving";
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
    return new MisbehavingPlugin;
}
