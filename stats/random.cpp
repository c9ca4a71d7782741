#include "stats/random.h"

#include <cmath>
#include <limits>

namespace {

constexpr long multiplier = 16807;
constexpr long modulus = 2147483647;
constexpr long quotient = 127773; // modulus / multiplier
constexpr long remainder = 2836;  // modulus % multiplier
constexpr int tableSize = 32;
constexpr int warmUps = 8;
constexpr long divisor = 1 + (modulus - 1) / tableSize;
constexpr double scale = 1.0 / modulus;
constexpr double largest = 0.99999988; // 1 - 1.2e-7

static_assert(sizeof(long) == 8, "the generator's arithmetic is 64-bit");

// ran1: the shuffle table and the last output, 0 before the first seeding.
long shuffle[tableSize];
long lastOutput = 0;

// gasdev: the second deviate of a pair, kept for the next call.
float spareDeviate = 0.0f;
int hasSpare = 0;

// seed * multiplier mod modulus without overflow (Schrage).
long next_seed(long seed) {
    const long k = seed / quotient;
    const long next = multiplier * (seed - k * quotient) - remainder * k;
    return next < 0 ? next + modulus : next;
}

// -seed, at least 1. Compared first, because the smallest long has no negative.
long first_seed(long seed) {
    return seed < 0 && seed != std::numeric_limits<long>::min() ? -seed : 1;
}

// Only seeds far above the modulus lead outside the table.
int table_index(long output) {
    const long j = output / divisor % tableSize;
    return static_cast<int>(j < 0 ? j + tableSize : j);
}

} // namespace

float ran1(long* idum) {
    if (*idum <= 0 || lastOutput == 0) {
        *idum = first_seed(*idum);
        for (int j = tableSize + warmUps - 1; j >= 0; --j) {
            *idum = next_seed(*idum);
            if (j < tableSize) {
                shuffle[j] = *idum;
            }
        }
        lastOutput = shuffle[0];
    }
    *idum = next_seed(*idum);
    const int j = table_index(lastOutput);
    lastOutput = shuffle[j];
    shuffle[j] = *idum;

    const float deviate = static_cast<float>(scale * static_cast<double>(lastOutput));
    return static_cast<double>(deviate) > largest ? static_cast<float>(largest) : deviate;
}

float gasdev(long* idum) {
    // A reseeding leaves the spare deviate in place.
    if (hasSpare != 0) {
        hasSpare = 0;
        return spareDeviate;
    }
    float r1 = 0.0f;
    float r2 = 0.0f;
    float rsq = 0.0f;
    do {
        r1 = static_cast<float>(2.0 * static_cast<double>(ran1(idum)) - 1.0);
        r2 = static_cast<float>(2.0 * static_cast<double>(ran1(idum)) - 1.0);
        rsq = r1 * r1 + r2 * r2;
    } while (rsq >= 1.0f || rsq == 0.0f);
    const double widened = static_cast<double>(rsq);
    const float fac = static_cast<float>(std::sqrt(-2.0 * std::log(widened) / widened));
    spareDeviate = r1 * fac;
    hasSpare = 1;
    return r2 * fac;
}
