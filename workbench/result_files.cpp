#include "workbench/result_files.h"

#include <system_error>

#include "workbench/input_error.h"
#include "workbench/pending_file.h"

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

void move_results(const fs::path& folder, const fs::path& recording, const fs::path& trials, const ResultFiles& files,
                  bool overwrite) {
    const fs::path replaced = folder / "replaced.trl";
    std::error_code none;
    if (overwrite) {
        fs::rename(files.trials, replaced, none);
    }
    const auto put_back = [&] {
        if (overwrite && !none) {
            std::error_code ignored;
            fs::rename(replaced, files.trials, ignored);
        }
    };
    try {
        move_into_place(trials, files.trials, false);
    } catch (const InputError&) {
        put_back();
        throw;
    }
    try {
        move_into_place(recording, files.recording, overwrite);
    } catch (const InputError&) {
        std::error_code ignored;
        fs::remove(files.trials, ignored);
        put_back();
        throw;
    }
}

} // namespace workbench
