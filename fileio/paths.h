#pragma once

#include <optional>

/// @file
/// Questions to the system about paths. They take no memory: the standard library's own make strings of every path,
/// and throw where there is no memory. Not exported.
namespace fileio {

/// A file, whatever its names are.
struct FileIdentity {
    unsigned long long device;
    unsigned long long number;

    bool operator==(const FileIdentity&) const = default;
};

/// The regular file to which the path leads, links followed; nothing where it leads to anything else, or nowhere.
std::optional<FileIdentity> regular_file(const char* path);

/// Whether there is one. Anything else (a directory, a pipe) would open and then misbehave, or block.
bool is_regular_file(const char* path);

/// Whether it leads to a pipe.
bool is_pipe(const char* path);

/// Gives a file a length; false where that fails.
bool set_length(const char* path, unsigned long long length);

/// Removes what a failed save left; through a link the file itself, not the link. Only a regular file, never a device
/// such as /dev/null.
void remove_incomplete(const char* path);

} // namespace fileio
