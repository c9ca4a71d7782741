#pragma once

#include <string>

namespace workbench {

/// A module may ignore that its reads, seeks and writes fail. They pass through this program, which remembers the first
/// one that failed on a regular file.

/// Forgets what has failed so far.
void forget_failed_transfers();

/// What failed first, and why; empty when nothing did.
std::string failed_transfer();

} // namespace workbench
