#pragma once

#include <cstdio>

#include "export.h"

/// @file
/// Strings between delimiters, read from a text file.

/// Reads the next string that stands between two delimiters: skips everything up to the first one, and ends with the
/// second.
/// @param delim   the delimiter; (char)255 finds none.
/// @param buf     out, the characters and a terminating zero. A string longer than maxlen is cut there, BUT ITS CLOSING
///                ZERO IS STORED ONCE MORE AT THE INDEX OF ITS FULL LENGTH: THE BUFFER MUST HOLD THE LONGEST STRING OF
///                THE FILE PLUS ONE CHARACTER, WHATEVER maxlen IS (and at least maxlen + 1). Never read files with it
///                that somebody else may have written.
/// @param f       open file; read on from where it stands.
/// @param maxlen  characters to keep; 0 keeps none. Below 0 nothing but the closing zero is stored.
/// @return 1, or 0 at the end of the file (or a read error), before a string or inside it; buf then holds the
///         characters read so far without a terminating zero.
/// Kept on purpose: a byte 255 in the file ends reading as the end of the file does; a further call reads on behind it.
ORIDAN_API int getNextString(char delim, char* buf, FILE* f, int maxlen);
