#include "workbench/working_folder.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

#include "workbench/input_error.h"

namespace workbench {

WorkingFolder::WorkingFolder(const std::filesystem::path& parent) {
    std::string pattern = (parent / ".workbench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw InputError("cannot write in the folder " + parent.string() + " (" + std::strerror(errno) +
                         "); choose another place for the result with -o");
    }
    folder_ = pattern;
}

WorkingFolder::~WorkingFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

} // namespace workbench
