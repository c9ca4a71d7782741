#pragma once

// Sums along and across rows for one instruction set: see numerics/rows.h. A translation unit defines ROWS_NAMESPACE
// and LANES, the floats of a vector, before it includes this. Builtins only.

namespace numerics::ROWS_NAMESPACE {

namespace {

typedef float Lane __attribute__((vector_size(4 * LANES)));
typedef float UnalignedLane __attribute__((vector_size(4 * LANES), aligned(4)));

inline Lane load(const float* p) {
    return *reinterpret_cast<const UnalignedLane*>(p);
}
inline void store(float* p, Lane v) {
    *reinterpret_cast<UnalignedLane*>(p) = v;
}

#include "numerics/x86/turn.h"

// LANES rows by `terms` terms, term after term; zeros for rows that are missing.
constexpr int terms = 64;
void gather(const float* const* rows, int count, int from, int length, float* tile) {
    int k = 0;
    for (; length - k >= LANES; k += LANES) {
        Lane square[LANES];
#pragma GCC unroll 16
        for (int row = 0; row < LANES; ++row) {
            square[row] = row < count ? load(rows[row] + from + k) : Lane{};
        }
        turn(square);
#pragma GCC unroll 16
        for (int i = 0; i < LANES; ++i) {
            store(tile + (k + i) * LANES, square[i]);
        }
    }
    for (; k < length; ++k) {
        for (int row = 0; row < LANES; ++row) {
            tile[k * LANES + row] = row < count ? rows[row][from + k] : 0.0f;
        }
    }
}

// Adds the products of a tile with Columns rows of b to as many vectors of sums.
template <int Columns>
void add_products(const float* tile, const float* const* b, int from, int length, Lane* sums) {
    Lane sum[Columns];
#pragma GCC unroll 4
    for (int c = 0; c < Columns; ++c) {
        sum[c] = sums[c];
    }
    for (int k = 0; k < length; ++k) {
        const Lane x = load(tile + k * LANES);
#pragma GCC unroll 4
        for (int c = 0; c < Columns; ++c) {
            sum[c] += x * b[c][from + k];
        }
    }
#pragma GCC unroll 4
    for (int c = 0; c < Columns; ++c) {
        sums[c] = sum[c];
    }
}

} // namespace

void row_products(const float* const* a, int rowsA, const float* const* b, int rowsB, int length, float* const* c) {
    constexpr int columnsAtOnce = 16;
    for (int j = 0, columns = 0; j < rowsB; j += columns) {
        columns = rowsB - j < columnsAtOnce ? rowsB - j : columnsAtOnce;
        for (int i = 0, rows = 0; i < rowsA; i += rows) {
            rows = rowsA - i < LANES ? rowsA - i : LANES;
            Lane sums[columnsAtOnce] = {};
            float tile[terms * LANES];
            for (int from = 0, n = 0; from < length; from += n) {
                n = length - from < terms ? length - from : terms;
                gather(a + i, rows, from, n, tile);
                int column = 0;
                for (; column + 4 <= columns; column += 4) {
                    add_products<4>(tile, b + j + column, from, n, sums + column);
                }
                if (columns - column == 3) {
                    add_products<3>(tile, b + j + column, from, n, sums + column);
                } else if (columns - column == 2) {
                    add_products<2>(tile, b + j + column, from, n, sums + column);
                } else if (columns - column == 1) {
                    add_products<1>(tile, b + j + column, from, n, sums + column);
                }
            }
            for (int row = 0; row < rows; ++row) {
                for (int column = 0; column < columns; ++column) {
                    c[i + row][j + column] = sums[column][row];
                }
            }
        }
    }
}

void row_sums(const float* const* a, int rowsA, int length, float* result) {
    for (int i = 0, rows = 0; i < rowsA; i += rows) {
        rows = rowsA - i < LANES ? rowsA - i : LANES;
        Lane sum = {};
        float tile[terms * LANES];
        for (int from = 0, n = 0; from < length; from += n) {
            n = length - from < terms ? length - from : terms;
            gather(a + i, rows, from, n, tile);
            for (int k = 0; k < n; ++k) {
                sum += load(tile + k * LANES);
            }
        }
        for (int row = 0; row < rows; ++row) {
            result[i + row] = sum[row];
        }
    }
}

void combine_rows(const float* weights, const float* const* rows, int count, int length, float* result) {
    constexpr int vectors = 4;
    int j = 0;
    for (; length - j >= vectors * LANES; j += vectors * LANES) {
        Lane sum[vectors] = {};
        for (int k = 0; k < count; ++k) {
#pragma GCC unroll 4
            for (int v = 0; v < vectors; ++v) {
                sum[v] += weights[k] * load(rows[k] + j + v * LANES);
            }
        }
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) {
            store(result + j + v * LANES, sum[v]);
        }
    }
    for (; length - j >= LANES; j += LANES) {
        Lane sum = {};
        for (int k = 0; k < count; ++k) {
            sum += weights[k] * load(rows[k] + j);
        }
        store(result + j, sum);
    }
    for (; j < length; ++j) {
        float sum = 0.0f;
        for (int k = 0; k < count; ++k) {
            sum += weights[k] * rows[k][j];
        }
        result[j] = sum;
    }
}

void subtract_combination(const float* given, const float* weights, const float* const* rows, int count, int length,
                          float* result) {
    constexpr int vectors = 4;
    int j = 0;
    for (; length - j >= vectors * LANES; j += vectors * LANES) {
        Lane rest[vectors];
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) {
            rest[v] = load(given + j + v * LANES);
        }
        for (int k = 0; k < count; ++k) {
#pragma GCC unroll 4
            for (int v = 0; v < vectors; ++v) {
                rest[v] -= weights[k] * load(rows[k] + j + v * LANES);
            }
        }
#pragma GCC unroll 4
        for (int v = 0; v < vectors; ++v) {
            store(result + j + v * LANES, rest[v]);
        }
    }
    for (; j < length; ++j) {
        float rest = given[j];
        for (int k = 0; k < count; ++k) {
            rest -= weights[k] * rows[k][j];
        }
        result[j] = rest;
    }
}

} // namespace numerics::ROWS_NAMESPACE
