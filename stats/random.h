#pragma once

#include "export.h"

/// @file
/// A uniform and a normal random generator. Both keep their state inside the library, shared by all callers: one
/// thread at a time.

/// Uniform deviate between 0 and 1, never 1 itself (the largest is 0x3F7FFFFE as bits).
/// Precision: 64-bit integers, then a double product rounded to float.
/// @param idum  in-out, the seed. 0 or less starts a sequence with seed max(1, -*idum); a positive one continues the
///              present sequence, except on the very first call, which starts as with seed 1. Between calls leave it
///              as it is.
/// @return the deviate. Two kinds of seed step out of line: a negative multiple of 2147483647 gives 0 once and then
///         starts as with seed 1; a positive one beyond 9.6e10 can give deviates below 0.
/// State: the shuffle table (32 numbers) and the last output, in the library. Seeding never touches gasdev's spare.
/// *Method*: Park and Miller (1988), shuffled after Bays and Durham (1976).
ORIDAN_API float ran1(long* idum);

/// Standard normal deviate. Deviates come in pairs from ran1; the second is kept for the next call.
/// Precision: float, with a double logarithm and root.
/// @param idum  in-out, the seed, as for ran1. A kept deviate is given out first, and then idum is not looked at: a
///              reseed does not discard it. After a reseed the first call may still belong to the sequence before.
/// @return the deviate.
/// State: the spare deviate, and what ran1 keeps.
/// *Method*: Box and Muller (1958), polar form of Marsaglia and Bray (1964).
ORIDAN_API float gasdev(long* idum);
