#pragma once

#include <fstream>

#include "export.h"

/// @file
/// Counted runs of raw little-endian values, and bounded strings, from and to an open stream at its current
/// position. None looks at the stream's state or reports a status: bytes that are missing leave the
/// destination as it was.

/// Read `count` values.
/// @param stream  open for reading.
/// @param dest    [0..count-1] out.
/// @param count   values.
///@{
ORIDAN_API void IOSReadFloat(std::fstream& stream, float* dest, unsigned int count);
ORIDAN_API void IOSReadChar(std::fstream& stream, signed char* dest, unsigned int count);
ORIDAN_API void IOSReadShort(std::fstream& stream, short* dest, unsigned int count);
ORIDAN_API void IOSReadLong(std::fstream& stream, int* dest, unsigned int count);
ORIDAN_API void IOSReadULong(std::fstream& stream, unsigned int* dest, unsigned int count);
///@}

/// Reads a string up to and including its NUL, at most size - 1 bytes. A longer string is cut there and the
/// rest, its NUL included, stays in the stream. At the end of the file the string ends at what was read.
/// @param stream  open for reading.
/// @param buf     [0..size-1] out, NUL-terminated; buf[size-1] is always set to NUL.
/// @param size    capacity of the field in bytes; 0 or less reads nothing.
ORIDAN_API void IOSReadCString(std::fstream& stream, char* buf, long size);

/// Writes the characters of str up to its NUL, at most size - 1 of them, then one NUL: the field on disk is as
/// long as its string. A size of 1 or less writes the NUL alone.
/// @param stream  open for writing.
/// @param str     NUL-terminated text.
/// @param size    capacity of the field in bytes.
ORIDAN_API void IOSWriteCString(std::fstream& stream, const char* str, long size);
