#include "workbench/exchange/file_set.h"

#include <string>
#include <system_error>

#include <unistd.h>

#include "workbench/input_error.h"
#include "workbench/pending_file.h"

namespace workbench::exchange {

namespace {

namespace fs = std::filesystem;

// A second name for a file that is about to be replaced; empty where there is none, or no second names.
fs::path second_name(const fs::path& file) {
    static unsigned int counter = 0;
    const fs::path name =
        folder_of(file) / (".workbench-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".old");
    std::error_code error;
    fs::create_hard_link(file, name, error);
    return error ? fs::path() : name;
}

struct Placed {
    fs::path file;
    fs::path replaced; // second name of what was there before
};

void undo(const std::vector<Placed>& placed) {
    std::error_code ignored;
    for (const Placed& one : placed) {
        if (one.replaced.empty()) {
            fs::remove(one.file, ignored);
        } else {
            fs::rename(one.replaced, one.file, ignored);
        }
    }
}

fs::path whole_path(const fs::path& file) {
    std::error_code error;
    return fs::weakly_canonical(fs::absolute(file, error), error);
}

} // namespace

void commit_together(const std::vector<SetMember>& members) {
    std::vector<Placed> placed;
    std::error_code ignored;
    for (const SetMember& member : members) {
        const Placed next{member.file, second_name(member.file)};
        try {
            member.commit();
        } catch (...) {
            if (!next.replaced.empty()) {
                fs::remove(next.replaced, ignored);
            }
            undo(placed);
            throw;
        }
        placed.push_back(next);
    }
    for (const Placed& one : placed) {
        if (!one.replaced.empty()) {
            fs::remove(one.replaced, ignored);
        }
    }
}

void require_output_names(const std::vector<fs::path>& outputs, const std::vector<fs::path>& inputs, bool overwrite) {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        for (const fs::path& input : inputs) {
            std::error_code error;
            if (!input.empty() && fs::equivalent(outputs[i], input, error)) {
                throw InputError(outputs[i].string() + ": is a file that is read; choose another name with -o");
            }
        }
        for (std::size_t k = 0; k < i; ++k) {
            if (whole_path(outputs[i]) == whole_path(outputs[k])) {
                throw InputError(outputs[i].string() + ": two files would have this name; choose another one with -o");
            }
        }
        require_free_name(outputs[i], overwrite);
    }
}

} // namespace workbench::exchange
