#pragma once

#include <fstream>

#include "fileio/transio.h"

/// @file
/// The file that a save writes. Not exported.
namespace fileio {

/// The stream of a save with its buffer. Were the buffer taken from the heap when the file is opened, a lack of memory
/// would show only after an existing file has been truncated.
struct SaveTarget {
    char buffer[8192];
    std::fstream stream;
};

/// Creates or truncates a file for writing.
bool open_any_target(SaveTarget& target, const char* fileName);

/// The same, but a pipe is refused: opening it would wait for a reader.
bool open_target(SaveTarget& target, const char* fileName);

/// Whether a target is the file behind a view, by whatever name: the file that is open, not the one to which the view's
/// name leads by now. Where that is not known (a stream that transio_open did not make), any existing file might be.
bool may_be_backing_file(const transio_struct* view, const char* target);

} // namespace fileio
