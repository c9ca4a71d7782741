// Part of a kernel, included inside its namespace with LANES defined: turns a square of LANES vectors, so that what
// was lane k of vector i becomes lane i of vector k. Each stage exchanges blocks that lie across the diagonal.

#if LANES == 16
#define LOW_EIGHT 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23
#define HIGH_EIGHT 8, 9, 10, 11, 12, 13, 14, 15, 24, 25, 26, 27, 28, 29, 30, 31
#define LOW_FOUR 0, 1, 2, 3, 16, 17, 18, 19, 8, 9, 10, 11, 24, 25, 26, 27
#define HIGH_FOUR 4, 5, 6, 7, 20, 21, 22, 23, 12, 13, 14, 15, 28, 29, 30, 31
#define LOW_TWO 0, 1, 16, 17, 4, 5, 20, 21, 8, 9, 24, 25, 12, 13, 28, 29
#define HIGH_TWO 2, 3, 18, 19, 6, 7, 22, 23, 10, 11, 26, 27, 14, 15, 30, 31
#define LOW_ONE 0, 16, 2, 18, 4, 20, 6, 22, 8, 24, 10, 26, 12, 28, 14, 30
#define HIGH_ONE 1, 17, 3, 19, 5, 21, 7, 23, 9, 25, 11, 27, 13, 29, 15, 31
#elif LANES == 8
#define LOW_FOUR 0, 1, 2, 3, 8, 9, 10, 11
#define HIGH_FOUR 4, 5, 6, 7, 12, 13, 14, 15
#define LOW_TWO 0, 1, 8, 9, 4, 5, 12, 13
#define HIGH_TWO 2, 3, 10, 11, 6, 7, 14, 15
#define LOW_ONE 0, 8, 2, 10, 4, 12, 6, 14
#define HIGH_ONE 1, 9, 3, 11, 5, 13, 7, 15
#elif LANES == 4
#define LOW_TWO 0, 1, 4, 5
#define HIGH_TWO 2, 3, 6, 7
#define LOW_ONE 0, 4, 2, 6
#define HIGH_ONE 1, 5, 3, 7
#else
#define LOW_ONE 0, 2
#define HIGH_ONE 1, 3
#endif

// The exchange of blocks of `size` lanes, for all pairs of vectors that are `size` apart.
#define EXCHANGE(size, low, high)                                                                                      \
    _Pragma("GCC unroll 16") for (int i = 0; i < LANES; ++i) {                                                         \
        if ((i & (size)) == 0) {                                                                                       \
            const Vector a = square[i];                                                                                \
            const Vector b = square[i + (size)];                                                                       \
            square[i] = __builtin_shufflevector(a, b, low);                                                            \
            square[i + (size)] = __builtin_shufflevector(a, b, high);                                                  \
        }                                                                                                              \
    }

template <class Vector>
inline void turn(Vector* square) {
#ifdef LOW_EIGHT
    EXCHANGE(8, LOW_EIGHT, HIGH_EIGHT)
#endif
#ifdef LOW_FOUR
    EXCHANGE(4, LOW_FOUR, HIGH_FOUR)
#endif
#ifdef LOW_TWO
    EXCHANGE(2, LOW_TWO, HIGH_TWO)
#endif
    EXCHANGE(1, LOW_ONE, HIGH_ONE)
}

#undef EXCHANGE
#undef LOW_EIGHT
#undef HIGH_EIGHT
#undef LOW_FOUR
#undef HIGH_FOUR
#undef LOW_TWO
#undef HIGH_TWO
#undef LOW_ONE
#undef HIGH_ONE
