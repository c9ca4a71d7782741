#pragma once

#include <cstdlib>
#include <fstream>
#include <ostream>

/// @file
/// The pieces from which the headers of the file formats are read and written. Not exported.
namespace fileio {

/// Capacity of a text field, its NUL included.
constexpr long textCapacity = 512;

/// Opens a regular file for reading. False for anything else, and where there is no memory for the stream.
bool open_regular_file(std::fstream& stream, const char* fileName);

/// Bytes between the read position and the end of the file; 0 once a read has failed.
unsigned long long bytes_left(std::fstream& stream);

/// Reads a text field as far as its NUL, that of a text of 511 characters included, which IOSReadCString leaves in the
/// stream.
/// @param text  [0..511] out
void read_text(std::fstream& stream, char* text);

/// Keeps at most 511 characters of a text. @param dest [0..511] out
void copy_text(char* dest, const char* text);

/// `count` zeroed elements (room for one where count is 0), or null. A wild count costs address space, not memory.
template <class T>
T* new_array(unsigned long long count) {
    return static_cast<T*>(std::calloc(count == 0 ? 1 : count, sizeof(T)));
}

void write_bytes(std::ostream& out, const void* data, unsigned long long bytes);

template <class T>
void write_field(std::ostream& out, T value) {
    static_assert(sizeof(T) == 4);
    write_bytes(out, &value, 4);
}

} // namespace fileio
