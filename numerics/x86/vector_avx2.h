#pragma once

// The vector vocabulary of jacobi_wave.h for AVX2. Everything is internal to the including translation unit.

#include <immintrin.h>

namespace kernels {
namespace {

/// One float per lane.
using Lanes = __m256;
constexpr int lanes = 8;
/// One decision per lane: all bits or none.
using Mask = __m256;
/// The bit of a word (not its highest) that decides for the lane; no bit: never.
using Bits = __m256i;

/// A masked operation takes a second instruction.
constexpr bool freeMasks = false;
/// Vectors per pass over V: four times two accumulators and the temporaries fit into 16 registers.
constexpr int passVectors = 4;

inline Lanes load(const float* p) {
    return _mm256_loadu_ps(p);
}
inline void store(float* p, Lanes v) {
    _mm256_storeu_ps(p, v);
}
inline void store_first(float* p, Lanes v) {
    _mm_store_ss(p, _mm256_castps256_ps128(v));
}
inline Lanes all(float x) {
    return _mm256_set1_ps(x);
}
inline Lanes zeros() {
    return _mm256_setzero_ps();
}
inline Lanes absolute(Lanes v) {
    return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), v);
}

// comparisons, one bit per lane
inline unsigned bits_of(__m256 m) {
    return static_cast<unsigned>(_mm256_movemask_ps(m));
}
inline unsigned greater(Lanes a, Lanes b) {
    return bits_of(_mm256_cmp_ps(a, b, _CMP_GT_OQ));
}
inline unsigned less(Lanes a, Lanes b) {
    return bits_of(_mm256_cmp_ps(a, b, _CMP_LT_OQ));
}
inline unsigned equal(Lanes a, Lanes b) {
    return bits_of(_mm256_cmp_ps(a, b, _CMP_EQ_OQ));
}
inline unsigned unequal(Lanes a, Lanes b) {
    return bits_of(_mm256_cmp_ps(a, b, _CMP_NEQ_UQ));
}

inline Mask test(__m256i word, Bits bits) {
    return _mm256_castsi256_ps(_mm256_cmpgt_epi32(_mm256_and_si256(word, bits), _mm256_setzero_si256()));
}
inline Mask test(const unsigned* word, Bits bits) {
    return test(_mm256_set1_epi32(static_cast<int>(*word)), bits); // NOLINT(clang-analyzer-core.NullDereference)
}
/// Bit l for lane l.
inline Bits lane_bits() {
    const __m256i index = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    return _mm256_sllv_epi32(_mm256_set1_epi32(1), index);
}
inline Mask mask_of(unsigned bits) {
    return test(_mm256_set1_epi32(static_cast<int>(bits)), lane_bits());
}
/// One bit for the first `count` lanes, none for the others.
inline Bits same_bit(int bit, int count) {
    const __m256i index = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
    return _mm256_and_si256(_mm256_set1_epi32(1 << bit), _mm256_cmpgt_epi32(_mm256_set1_epi32(count), index));
}
/// word l |= bit of lane l, where the mask is set
inline void mark(unsigned* words, Mask m, Bits bits) {
    __m256i* at = reinterpret_cast<__m256i*>(words);
    const __m256i added = _mm256_and_si256(_mm256_castps_si256(m), bits);
    _mm256_storeu_si256(at, _mm256_or_si256(_mm256_loadu_si256(at), added));
}

/// a where the mask is set, b elsewhere
inline Lanes select(Mask m, Lanes a, Lanes b) {
    return _mm256_blendv_ps(b, a, m);
}
/// a + b and a - b where the mask is set, `keep` elsewhere
inline Lanes add_where(Lanes keep, Mask m, Lanes a, Lanes b) {
    return select(m, a + b, keep);
}
inline Lanes subtract_where(Lanes keep, Mask m, Lanes a, Lanes b) {
    return select(m, a - b, keep);
}

/// Lanes 1.. of v, then the first lane of next
inline Lanes shifted(Lanes v, Lanes next) {
    return _mm256_permutevar8x32_ps(_mm256_blend_ps(v, next, 1), _mm256_setr_epi32(1, 2, 3, 4, 5, 6, 7, 0));
}
inline Lanes reversed(Lanes v) {
    return _mm256_permutevar8x32_ps(v, _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0));
}

/// Lane j of vector i to lane i of vector j.
inline void transpose(Lanes (&v)[lanes]) {
    Lanes t[lanes];
#pragma GCC unroll 4
    for (int i = 0; i < lanes; i += 2) {
        t[i] = _mm256_unpacklo_ps(v[i], v[i + 1]);
        t[i + 1] = _mm256_unpackhi_ps(v[i], v[i + 1]);
    }
    const auto low = [](Lanes a, Lanes b) {
        return _mm256_castpd_ps(_mm256_unpacklo_pd(_mm256_castps_pd(a), _mm256_castps_pd(b)));
    };
    const auto high = [](Lanes a, Lanes b) {
        return _mm256_castpd_ps(_mm256_unpackhi_pd(_mm256_castps_pd(a), _mm256_castps_pd(b)));
    };
#pragma GCC unroll 2
    for (int i = 0; i < lanes; i += 4) {
        v[i] = low(t[i], t[i + 2]);
        v[i + 1] = high(t[i], t[i + 2]);
        v[i + 2] = low(t[i + 1], t[i + 3]);
        v[i + 3] = high(t[i + 1], t[i + 3]);
    }
    // Now vector 4 i + j has, in its half k, column 4 k + j of rows 4 i .. 4 i + 3.
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j) {
        const Lanes first = _mm256_permute2f128_ps(v[j], v[4 + j], 0x20);
        v[4 + j] = _mm256_permute2f128_ps(v[j], v[4 + j], 0x31);
        v[j] = first;
    }
}

/// The lanes as doubles.
struct Wide {
    __m256d low;
    __m256d high;
};
inline Wide widened(Lanes v) {
    return {_mm256_cvtps_pd(_mm256_castps256_ps128(v)), _mm256_cvtps_pd(_mm256_extractf128_ps(v, 1))};
}
inline Lanes rounded(Wide v) {
    return _mm256_set_m128(_mm256_cvtpd_ps(v.high), _mm256_cvtpd_ps(v.low));
}
/// The lanes in two half vectors: saves the way through a full one where doubles come before and after.
struct Halves {
    __m128 low;
    __m128 high;
};
inline Halves halves(Lanes v) {
    return {_mm256_castps256_ps128(v), _mm256_extractf128_ps(v, 1)};
}
inline Halves halves(Wide v) {
    return {_mm256_cvtpd_ps(v.low), _mm256_cvtpd_ps(v.high)};
}
inline Halves operator*(Halves a, Halves b) {
    return {a.low * b.low, a.high * b.high};
}
inline Lanes joined(Halves v) {
    return _mm256_set_m128(v.high, v.low);
}
inline Wide widened(Halves v) {
    return {_mm256_cvtps_pd(v.low), _mm256_cvtps_pd(v.high)};
}
inline Wide all_wide(double x) {
    return {_mm256_set1_pd(x), _mm256_set1_pd(x)};
}
inline Wide operator+(Wide a, Wide b) {
    return {a.low + b.low, a.high + b.high};
}
inline Wide operator*(Wide a, Wide b) {
    return {a.low * b.low, a.high * b.high};
}
inline Wide operator/(Wide a, Wide b) {
    return {a.low / b.low, a.high / b.high};
}
inline Wide square_root(Wide v) {
    return {_mm256_sqrt_pd(v.low), _mm256_sqrt_pd(v.high)};
}

} // namespace
} // namespace kernels
