#pragma once

#include <filesystem>

namespace workbench {

/// Returns when a file's bytes are on the disk, so that a name given to it afterwards never stands for less. Where the
/// file system knows no such thing nothing happens.
void put_on_disk(const std::filesystem::path& file);

} // namespace workbench
