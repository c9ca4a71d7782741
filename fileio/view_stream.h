#pragma once

#include <fstream>
#include <optional>

#include "fileio/paths.h"

/// @file
/// The stream of a view. Not exported.
namespace fileio {

/// Remembers which file it opened: the path it was opened by may lead to another one later.
class ViewStream : public std::fstream {
public:
    using std::fstream::fstream;

    std::optional<FileIdentity> file; ///< nothing where the path led elsewhere while it was opened
};

} // namespace fileio
