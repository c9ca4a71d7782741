#include "numerics/row_products.h"

namespace {

// Rows x Columns sums at once. One sum waits for its own last addition; the others fill the time.
template <int Rows, int Columns>
void tile(const float* const* a, const float* const* b, int length, float* const* c, int column) {
    float sums[Rows][Columns] = {};
    for (int k = 0; k < length; ++k) {
#pragma GCC unroll 4
        for (int i = 0; i < Rows; ++i) {
#pragma GCC unroll 4
            for (int j = 0; j < Columns; ++j) {
                sums[i][j] += a[i][k] * b[j][k];
            }
        }
    }
    for (int i = 0; i < Rows; ++i) {
        for (int j = 0; j < Columns; ++j) {
            c[i][column + j] = sums[i][j];
        }
    }
}

template <int Columns>
void tiles_below(const float* const* a, int rowsA, const float* const* b, int length, float* const* c, int column) {
    int i = 0;
    for (; i + 4 <= rowsA; i += 4) {
        tile<4, Columns>(a + i, b, length, c + i, column);
    }
    for (; i < rowsA; ++i) {
        tile<1, Columns>(a + i, b, length, c + i, column);
    }
}

} // namespace

namespace numerics {

void row_products(const float* const* a, int rowsA, const float* const* b, int rowsB, int length, float* const* c) {
    if (length <= 0) {
        return;
    }
    int j = 0;
    for (; j + 4 <= rowsB; j += 4) {
        tiles_below<4>(a, rowsA, b + j, length, c, j);
    }
    if (rowsB - j == 3) {
        tiles_below<3>(a, rowsA, b + j, length, c, j);
        return;
    }
    for (; j < rowsB; ++j) {
        tiles_below<1>(a, rowsA, b + j, length, c, j);
    }
}

void row_sums(const float* const* a, int rows, int length, float* sums) {
    int i = 0;
    for (; i + 8 <= rows; i += 8) {
        float side[8] = {};
        for (int k = 0; k < length; ++k) {
#pragma GCC unroll 8
            for (int r = 0; r < 8; ++r) {
                side[r] += a[i + r][k];
            }
        }
        for (int r = 0; r < 8; ++r) {
            sums[i + r] = side[r];
        }
    }
    for (; i < rows; ++i) {
        sums[i] = 0.0f;
        for (int k = 0; k < length; ++k) {
            sums[i] += a[i][k];
        }
    }
}

} // namespace numerics
