#pragma once

// The vector vocabulary of jacobi_wave.h for AVX-512. Everything is internal to the including translation unit.

// g++ 12 takes the deliberately undefined operands in its own header for mistakes (its bug 105593).
#ifndef __clang__
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif
#include <immintrin.h>
#ifndef __clang__
#pragma GCC diagnostic pop
#endif

namespace kernels {
namespace {

/// One float per lane.
using Lanes = __m512;
constexpr int lanes = 16;
/// One decision per lane.
using Mask = __mmask16;
/// The bit of a word that decides for the lane; no bit: never.
using Bits = __m512i;

/// Masked arithmetic costs what the plain costs.
constexpr bool freeMasks = true;
/// Vectors per pass over V: six times two accumulators and the temporaries fit into 32 registers.
constexpr int passVectors = 6;

inline Lanes load(const float* p) {
    return _mm512_loadu_ps(p);
}
inline void store(float* p, Lanes v) {
    _mm512_storeu_ps(p, v);
}
inline void store_first(float* p, Lanes v) {
    _mm_store_ss(p, _mm512_castps512_ps128(v));
}
inline Lanes all(float x) {
    return _mm512_set1_ps(x);
}
inline Lanes zeros() {
    return _mm512_setzero_ps();
}
inline Lanes absolute(Lanes v) {
    return _mm512_abs_ps(v);
}

// comparisons, one bit per lane
inline unsigned greater(Lanes a, Lanes b) {
    return _mm512_cmp_ps_mask(a, b, _CMP_GT_OQ);
}
inline unsigned less(Lanes a, Lanes b) {
    return _mm512_cmp_ps_mask(a, b, _CMP_LT_OQ);
}
inline unsigned equal(Lanes a, Lanes b) {
    return _mm512_cmp_ps_mask(a, b, _CMP_EQ_OQ);
}
inline unsigned unequal(Lanes a, Lanes b) {
    return _mm512_cmp_ps_mask(a, b, _CMP_NEQ_UQ);
}

inline Mask mask_of(unsigned bits) {
    return static_cast<Mask>(bits);
}
inline Mask test(const unsigned* word, Bits bits) {
    const int all = static_cast<int>(*word); // NOLINT(clang-analyzer-core.NullDereference)
    Mask m = _mm512_test_epi32_mask(_mm512_set1_epi32(all), bits);
#ifdef __clang__
    // Else clang turns masked operations round into plain ones and blends by the inverse mask: a third slower.
    __asm__("" : "+k"(m));
#endif
    return m;
}
/// Bit l for lane l.
inline Bits lane_bits() {
    const __m512i index = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm512_sllv_epi32(_mm512_set1_epi32(1), index);
}
/// One bit for the first `count` lanes, none for the others.
inline Bits same_bit(int bit, int count) {
    const unsigned some = count <= 0 ? 0U : count >= lanes ? 0xffffU : (1U << count) - 1U;
    return _mm512_maskz_set1_epi32(static_cast<Mask>(some), static_cast<int>(1U << bit));
}
/// word l |= bit of lane l, where the mask is set
inline void mark(unsigned* words, Mask m, Bits bits) {
    const __m512i old = _mm512_loadu_si512(words);
    _mm512_storeu_si512(words, _mm512_mask_or_epi32(old, m, old, bits));
}

/// a where the mask is set, b elsewhere
inline Lanes select(Mask m, Lanes a, Lanes b) {
    return _mm512_mask_blend_ps(m, b, a);
}
/// a + b and a - b where the mask is set, `keep` elsewhere
inline Lanes add_where(Lanes keep, Mask m, Lanes a, Lanes b) {
    return _mm512_mask_add_ps(keep, m, a, b);
}
inline Lanes subtract_where(Lanes keep, Mask m, Lanes a, Lanes b) {
    return _mm512_mask_sub_ps(keep, m, a, b);
}

/// Lanes 1.. of v, then the first lane of next
inline Lanes shifted(Lanes v, Lanes next) {
    return _mm512_castsi512_ps(_mm512_alignr_epi32(_mm512_castps_si512(next), _mm512_castps_si512(v), 1));
}
inline Lanes reversed(Lanes v) {
    return _mm512_permutexvar_ps(_mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0), v);
}

/// Lane j of vector i to lane i of vector j.
inline void transpose(Lanes (&v)[lanes]) {
    Lanes t[lanes];
#pragma GCC unroll 8
    for (int i = 0; i < lanes; i += 2) {
        t[i] = _mm512_unpacklo_ps(v[i], v[i + 1]);
        t[i + 1] = _mm512_unpackhi_ps(v[i], v[i + 1]);
    }
    const auto low = [](Lanes a, Lanes b) {
        return _mm512_castpd_ps(_mm512_unpacklo_pd(_mm512_castps_pd(a), _mm512_castps_pd(b)));
    };
    const auto high = [](Lanes a, Lanes b) {
        return _mm512_castpd_ps(_mm512_unpackhi_pd(_mm512_castps_pd(a), _mm512_castps_pd(b)));
    };
#pragma GCC unroll 4
    for (int i = 0; i < lanes; i += 4) {
        v[i] = low(t[i], t[i + 2]);
        v[i + 1] = high(t[i], t[i + 2]);
        v[i + 2] = low(t[i + 1], t[i + 3]);
        v[i + 3] = high(t[i + 1], t[i + 3]);
    }
    // Now vector 4 i + j has, in its quarter k, column 4 k + j of rows 4 i .. 4 i + 3.
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j) {
        const Lanes even0 = _mm512_shuffle_f32x4(v[j], v[4 + j], 0x88);
        const Lanes odd0 = _mm512_shuffle_f32x4(v[j], v[4 + j], 0xdd);
        const Lanes even1 = _mm512_shuffle_f32x4(v[8 + j], v[12 + j], 0x88);
        const Lanes odd1 = _mm512_shuffle_f32x4(v[8 + j], v[12 + j], 0xdd);
        v[j] = _mm512_shuffle_f32x4(even0, even1, 0x88);
        v[4 + j] = _mm512_shuffle_f32x4(odd0, odd1, 0x88);
        v[8 + j] = _mm512_shuffle_f32x4(even0, even1, 0xdd);
        v[12 + j] = _mm512_shuffle_f32x4(odd0, odd1, 0xdd);
    }
}

/// The lanes as doubles.
struct Wide {
    __m512d low;
    __m512d high;
};
inline Wide widened(Lanes v) {
    return {_mm512_cvtps_pd(_mm512_castps512_ps256(v)), _mm512_cvtps_pd(_mm512_extractf32x8_ps(v, 1))};
}
inline Lanes rounded(Wide v) {
    return _mm512_insertf32x8(_mm512_castps256_ps512(_mm512_cvtpd_ps(v.low)), _mm512_cvtpd_ps(v.high), 1);
}
/// The lanes in two half vectors: saves the way through a full one where doubles come before and after.
struct Halves {
    __m256 low;
    __m256 high;
};
inline Halves halves(Lanes v) {
    return {_mm512_castps512_ps256(v), _mm512_extractf32x8_ps(v, 1)};
}
inline Halves halves(Wide v) {
    return {_mm512_cvtpd_ps(v.low), _mm512_cvtpd_ps(v.high)};
}
inline Halves operator*(Halves a, Halves b) {
    return {a.low * b.low, a.high * b.high};
}
inline Lanes joined(Halves v) {
    return _mm512_insertf32x8(_mm512_castps256_ps512(v.low), v.high, 1);
}
inline Wide widened(Halves v) {
    return {_mm512_cvtps_pd(v.low), _mm512_cvtps_pd(v.high)};
}
inline Wide all_wide(double x) {
    return {_mm512_set1_pd(x), _mm512_set1_pd(x)};
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
    return {_mm512_sqrt_pd(v.low), _mm512_sqrt_pd(v.high)};
}

} // namespace
} // namespace kernels
