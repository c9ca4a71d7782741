// A module for tests of the workbench: does in execute what the environment variable MISBEHAVE says.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <unistd.h>

#include "plugin/entry_points.h"
#include "plugin/nivora_plugin_interface.h"

namespace {

std::string setting(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? "" : value;
}

void write_trials(int lines) {
    std::ofstream file("_slice.trl");
    for (int i = 0; i < lines; ++i) {
        file << "1000 slice\n";
    }
}

// What a module does that cleans nothing but ends well.
void complete() {
    const auto log = reinterpret_cast<void (*)(const char*)>(dlsym(RTLD_DEFAULT, "nvLogText"));
    std::filesystem::copy_file("recording.ctc", "recording_OBS.ctc", std::filesystem::copy_options::overwrite_existing);
    log("// OridanSuite> Artifact template removal completed!");
}

void wait_for_file(const std::string& name) {
    while (!std::filesystem::exists(name)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

class MisbehavingPlugin : public NivoraPluginInterface {
public:
    bool initPlugin() override { return true; }
    bool execute() override {
        std::ofstream("recording_OBS.ctc") << "half";
        write_trials(12);
        const std::string how = setting("MISBEHAVE");
        if (how == "crash") {
            std::signal(SIGSEGV, SIG_DFL);
            std::raise(SIGSEGV);
        } else if (how == "exit") {
            std::exit(1);
        } else if (how == "throw") {
            throw 1;
        } else if (how == "wait") {
            std::ofstream(setting("STARTED")) << "yes";
            wait_for_file(setting("RELEASE"));
            complete();
        } else if (how == "cut the trial file") {
            write_trials(3);
            complete();
        } else if (how == "change the recording") {
            complete();
            std::ofstream("recording.ctc", std::ios::app) << "more";
        } else if (how == "spoil the copy") {
            complete();
            std::fstream copy("recording_OBS.ctc", std::ios::in | std::ios::out | std::ios::binary);
            copy.seekp(-1, std::ios::end);
            copy.put('x');
        } else if (how == "take the result's name") {
            std::filesystem::create_directory(setting("RESULT"));
            complete();
        }
        return true; // without the completed line where nothing was said
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
