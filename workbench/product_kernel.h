// The fixed-order product for one instruction set. A translation unit defines before it includes this file
//   PRODUCT_NAMESPACE     where its functions stand
//   LANES                 doubles in a vector
//   VECTORS, ROWS         a tile is ROWS rows by VECTORS * LANES columns, held in registers; ROWS divides the columns
//   FUSED_PRODUCT(a, b, c)  a * b + c rounded once, where the instruction set has it
// Only builtins here, no functions of the standard library: what another unit might share must not be compiled for a
// processor that it may not run on.

namespace workbench::PRODUCT_NAMESPACE {

namespace {

typedef double Vector __attribute__((vector_size(8 * LANES)));
typedef double UnalignedVector __attribute__((vector_size(8 * LANES), aligned(8)));

constexpr int tileRows = ROWS;
constexpr int tileColumns = VECTORS * LANES;
static_assert(tileColumns % tileRows == 0);

#ifdef FUSED_PRODUCT
constexpr bool canFuse = true;
#else
constexpr bool canFuse = false;
#define FUSED_PRODUCT(a, b, c) ((c) + (a) * (b))
#endif

inline Vector everywhere(double x) {
    return x - Vector{}; // x - 0 is x for every x, -0 included
}

// c += a b over `terms` terms of every sum of a tile, in their order. a holds one tileRows after another with
// aStride doubles between terms, b one tileColumns after another.
template <bool Fused>
void add_terms(int terms, const double* a, long aStride, const double* b, double* c, long cStride) {
    Vector sum[tileRows][VECTORS];
#pragma GCC unroll 8
    for (int r = 0; r < tileRows; ++r) {
#pragma GCC unroll 4
        for (int v = 0; v < VECTORS; ++v) {
            sum[r][v] = *reinterpret_cast<const UnalignedVector*>(c + r * cStride + v * LANES);
        }
    }
    for (int k = 0; k < terms; ++k) {
        Vector right[VECTORS];
#pragma GCC unroll 4
        for (int v = 0; v < VECTORS; ++v) {
            right[v] = *reinterpret_cast<const UnalignedVector*>(b + v * LANES);
        }
#pragma GCC unroll 8
        for (int r = 0; r < tileRows; ++r) {
            const Vector left = everywhere(a[r]);
#pragma GCC unroll 4
            for (int v = 0; v < VECTORS; ++v) {
                sum[r][v] = Fused ? FUSED_PRODUCT(left, right[v], sum[r][v]) : sum[r][v] + left * right[v];
            }
        }
        a += aStride;
        b += tileColumns;
    }
#pragma GCC unroll 8
    for (int r = 0; r < tileRows; ++r) {
#pragma GCC unroll 4
        for (int v = 0; v < VECTORS; ++v) {
            *reinterpret_cast<UnalignedVector*>(c + r * cStride + v * LANES) = sum[r][v];
        }
    }
}

#include "numerics/x86/turn.h"

typedef float Narrow __attribute__((vector_size(4 * LANES)));
typedef long Flags __attribute__((vector_size(8 * LANES)));

inline Vector widened(const double* values) {
    return *reinterpret_cast<const UnalignedVector*>(values);
}
inline Vector widened(const float* values) {
    typedef float UnalignedNarrow __attribute__((vector_size(4 * LANES), aligned(4)));
    return __builtin_convertvector(*reinterpret_cast<const UnalignedNarrow*>(values), Vector);
}

inline bool is_float(double x) {
    return static_cast<double>(static_cast<float>(x)) == x;
}

// LANES lines by LANES terms, from contiguous lines. A line that is missing becomes zeros. Marks in `other` the lanes
// where a value is no float.
template <class T>
void pack_square(const T* values, long lineStride, int lines, int width, double* packed, Flags& other) {
    Vector square[LANES];
#pragma GCC unroll 8
    for (int line = 0; line < LANES; ++line) {
        square[line] = line < lines ? widened(values + line * lineStride) : Vector{};
        if (sizeof(T) == sizeof(double)) {
            other |= __builtin_convertvector(__builtin_convertvector(square[line], Narrow), Vector) != square[line];
        }
    }
    turn(square);
#pragma GCC unroll 8
    for (int k = 0; k < LANES; ++k) {
        *reinterpret_cast<UnalignedVector*>(packed + k * width) = square[k];
    }
}

// Copies `terms` terms of `count` lines into groups of `width` lines, term after term, zeros where the last group has
// no line. @return whether every value is a float's.
template <class T>
bool pack(const T* values, long lineStride, long termStride, int count, int terms, int width, double* packed) {
    bool floats = true;
    Flags other = {};
    const int inSquares = termStride == 1 && width % LANES == 0 ? terms - terms % LANES : 0;
    for (int first = 0; first < count; first += width) {
        const int lines = count - first < width ? count - first : width;
        const T* group = values + first * lineStride;
        for (int line = 0; line < width; line += LANES) {
            const int present = line >= lines ? 0 : lines - line < LANES ? lines - line : LANES;
            const T* start = group + (present == 0 ? 0 : line * lineStride);
            for (int k = 0; k < inSquares; k += LANES) {
                pack_square(start + k, lineStride, present, width, packed + static_cast<long>(k) * width + line, other);
            }
        }
        for (int k = inSquares; k < terms; ++k) {
            double* target = packed + static_cast<long>(k) * width;
            for (int line = 0; line < width; ++line) {
                const double x = line < lines ? static_cast<double>(group[line * lineStride + k * termStride]) : 0.0;
                floats &= is_float(x);
                target[line] = x;
            }
        }
        packed += static_cast<long>(terms) * width;
    }
    for (int lane = 0; lane < LANES; ++lane) {
        floats &= other[lane] == 0;
    }
    return floats;
}

template <bool Fused>
void add_all_tiles(int rows, int columns, int terms, const double* a, int aWidth, const double* b, double* c,
                   bool lowerOnly) {
    for (int j = 0; j < columns; j += tileColumns) {
        for (int i = 0; i < rows; i += tileRows) {
            if (lowerOnly && j >= i + tileRows) {
                continue;
            }
            const double* left = a + static_cast<long>(i - i % aWidth) * terms + i % aWidth;
            add_terms<Fused>(terms, left, aWidth, b + static_cast<long>(j) * terms,
                             c + static_cast<long>(i) * columns + j, columns);
        }
    }
}

int rounded_up(int count, int unit) {
    return (count + unit - 1) / unit * unit;
}

template <class T>
void multiply(const Factor<T>& a, const Factor<T>& b, int m, int n, int k, T* c, double* work) {
    const bool square = a.values == b.values && a.lineStride == b.lineStride && a.termStride == b.termStride && m == n;
    const int columns = rounded_up(n, tileColumns);
    const int rows = rounded_up(m, tileRows); // no more than columns in a square: tileRows divides tileColumns
    const int block = terms_per_block(columns);
    const int aWidth = square ? tileColumns : tileRows;
    double* packedB = work;
    double* packedA = square ? packedB : packedB + static_cast<long>(columns) * block;
    double* sums = work + static_cast<long>(columns) * block + (square ? 0 : static_cast<long>(rows) * block);
    for (long i = 0; i < static_cast<long>(rows) * columns; ++i) {
        sums[i] = 0.0;
    }
    for (int first = 0; first < k; first += block) {
        const int terms = k - first < block ? k - first : block;
        bool floats = pack(b.values + first * b.termStride, b.lineStride, b.termStride, n, terms, tileColumns, packedB);
        if (!square) {
            floats &= pack(a.values + first * a.termStride, a.lineStride, a.termStride, m, terms, tileRows, packedA);
        }
        // The product of two floats is exact in double: fusing it with the addition changes no bit.
        if (canFuse && floats) {
            add_all_tiles<true>(rows, columns, terms, packedA, aWidth, packedB, sums, square);
        } else {
            add_all_tiles<false>(rows, columns, terms, packedA, aWidth, packedB, sums, square);
        }
    }
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < n; ++j) {
            const long at = square && j > i ? static_cast<long>(j) * columns + i : static_cast<long>(i) * columns + j;
            c[static_cast<long>(i) * n + j] = static_cast<T>(sums[at]);
        }
    }
}

} // namespace

long work_size(int m, int n) {
    const long columns = rounded_up(n, tileColumns);
    const long rows = m == n ? columns : rounded_up(m, tileRows);
    return (columns + rows) * terms_per_block(static_cast<int>(columns)) + rows * columns;
}

void multiply_doubles(const Factor<double>& a, const Factor<double>& b, int m, int n, int k, double* c, double* work) {
    multiply(a, b, m, n, k, c, work);
}

void multiply_floats(const Factor<float>& a, const Factor<float>& b, int m, int n, int k, float* c, double* work) {
    multiply(a, b, m, n, k, c, work);
}

} // namespace workbench::PRODUCT_NAMESPACE
