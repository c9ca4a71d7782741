#pragma once

#include <fstream>

#include "fileio/transio.h"

/// @file
/// The file that a save writes. Not exported.
namespace fileio {

/// Creates or truncates a file for writing. A pipe is refused: opening it would wait for a reader.
bool open_target(std::fstream& stream, const char* fileName);

/// Whether a target is the file behind a view. Where the view's name no longer leads to a file (it was moved, or was
/// relative to another current directory), any existing target might be.
bool may_be_backing_file(const transio_struct* view, const char* target);

/// Removes what a failed save left; through a link the file itself, not the link. Only a regular file, never a device
/// such as /dev/null.
void remove_incomplete(const char* fileName);

} // namespace fileio
