#pragma once

#include <filesystem>
#include <functional>
#include <vector>

namespace workbench::exchange {

/// A file of a set: its name, and what puts it there (PendingFile::commit).
struct SetMember {
    std::filesystem::path file;
    std::function<void()> commit;
};

/// Puts all files into their places, or none: where one cannot be put there, those before it are taken away again, and
/// what they replaced is put back. Throws what the failing commit throws.
void commit_together(const std::vector<SetMember>& members);

/// Throws InputError where files to be written could not have their names (see require_free_name), have the same name,
/// or would take the place of a file that is read.
void require_output_names(const std::vector<std::filesystem::path>& outputs,
                          const std::vector<std::filesystem::path>& inputs, bool overwrite);

} // namespace workbench::exchange
