#pragma once

#include "export.h"

/// @file
/// The library's own minimum of two numbers, exported under its plain name.

/// The smaller of two: a when a <= b, else b. Exact.
/// Unlike the C library's function of this name, a NaN on either side gives b: fmin(1, NaN) is NaN, and of two equal
/// values (0 and -0) it is a that comes back.
/// A program that links the module's library gets the one of the two that its linker finds first, and a compiler may
/// replace a call by its own version (-fno-builtin-fmin forbids that); fetch it from the module by name to be sure.
/// @param a, b  the numbers to compare.
/// @return a or b, unchanged.
extern "C" ORIDAN_API double fmin(double a, double b) noexcept;
