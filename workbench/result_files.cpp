#include "workbench/result_files.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <unistd.h>

#include "workbench/input_error.h"
#include "workbench/pending_file.h"
#include "workbench/run_error.h"
#include "workbench/working_folder.h"

namespace workbench {

namespace fs = std::filesystem;

ResultFiles result_files(const fs::path& recording, const fs::path& output, const std::string& condition) {
    const fs::path& named = output.empty() ? recording : output;
    const fs::path stem = named.parent_path() / named.stem();
    return {output.empty() ? fs::path(stem) += "_OBS.ctc" : output,
            condition.empty() ? fs::path() : fs::path(stem) += "_" + condition + ".trl"};
}

void check_result_files(const ResultFiles& files, const std::vector<fs::path>& inputs, bool overwrite) {
    for (const fs::path& result : {files.recording, files.trials}) {
        if (result.empty()) {
            continue;
        }
        for (const fs::path& input : inputs) {
            std::error_code error;
            if (fs::equivalent(result, input, error)) {
                throw InputError("the result would replace " + input.string() +
                                 ", which is never changed; choose another name with -o");
            }
        }
        require_free_name(result, overwrite);
    }
}

namespace {

// Puts the trial file in its place and keeps it, and the one it replaces, in the folder too: by that clear_leftovers
// knows it when the run is killed before the recording has followed. False, with nothing changed, where the file system
// knows no second names.
bool link_trials(const fs::path& folder, const fs::path& trials, const fs::path& place, bool overwrite) {
    if (!overwrite) {
        return link(trials.c_str(), place.c_str()) == 0; // a name that is taken is refused by the move that follows
    }
    const fs::path replaced = folder / replacedName;
    const fs::path second = folder / "second name";
    if (link(trials.c_str(), second.c_str()) != 0) {
        return false;
    }
    const bool kept = link(place.c_str(), replaced.c_str()) == 0 || errno == ENOENT;
    if (kept && std::rename(second.c_str(), place.c_str()) == 0) {
        return true;
    }
    unlink(second.c_str());
    unlink(replaced.c_str());
    return false;
}

void place_trials(const fs::path& folder, const fs::path& trials, const fs::path& place, bool overwrite) {
    require_free_name(place, overwrite);
    if (link_trials(folder, trials, place, overwrite)) {
        return;
    }
    std::error_code error;
    if (overwrite) {
        fs::rename(place, folder / replacedName, error);
    }
    move_into_place(trials, place, false);
}

// True where nothing of the run is left in that place.
bool take_back(const fs::path& folder, const fs::path& place) {
    std::error_code error;
    fs::rename(folder / replacedName, place, error);
    if (error) {
        fs::remove(place, error);
    }
    return !error;
}

} // namespace

void move_results(const fs::path& folder, const fs::path& recording, const fs::path& trials, const ResultFiles& files,
                  bool overwrite) {
    const fs::path replaced = folder / replacedName;
    try {
        place_trials(folder, trials, files.trials, overwrite);
    } catch (const InputError&) {
        std::error_code ignored;
        fs::rename(replaced, files.trials, ignored);
        throw;
    }
    try {
        move_into_place(recording, files.recording, overwrite);
    } catch (const InputError& error) {
        if (!take_back(folder, files.trials)) {
            throw RunError(std::string(error.what()) + "; only " + files.trials.string() + " was written; delete it",
                           exitNotCompleted);
        }
        throw;
    }
}

} // namespace workbench
