#include "numerics/arrays.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <type_traits>
#include <vector>

#include "tests/support/allocation_probe.h"
#include "tests/support/bits.h"
#include "tests/support/fatal.h"

namespace {

// Handles of ranges that do not hold 0 lie outside their block, so addresses are compared as numbers.
template <class T>
std::uintptr_t address(const T* p) {
    return reinterpret_cast<std::uintptr_t>(p);
}

constexpr long ranges[][2] = {{1, 7}, {0, 6}, {-3, 3}, {5, 5}, {-9, -4}, {1000000, 1000002}};

// One vector type: every element of several ranges is written and read back; the sanitizers watch the bounds.
template <class T>
void check_vector(T* (*make)(long, long), void (*release)(T*, long, long)) {
    for (const auto& range : ranges) {
        const long nl = range[0];
        const long nh = range[1];
        const std::size_t bytes = static_cast<std::size_t>(nh - nl + 1) * sizeof(T);
        const AllocationProbe probe;
        T* v = make(nl, nh);
        EXPECT_EQ(probe.calls(), 1) << nl << ".." << nh;
        EXPECT_EQ(probe.largest(), bytes) << nl << ".." << nh << ": no spare element on either side";
        for (long i = nl; i <= nh; ++i) {
            EXPECT_EQ(address(&v[i]), address(&v[nl]) + static_cast<std::size_t>(i - nl) * sizeof(T));
            v[i] = static_cast<T>(i - nl + 1);
        }
        for (long i = nl; i <= nh; ++i) {
            EXPECT_EQ(v[i], static_cast<T>(i - nl + 1));
        }
        EXPECT_EQ(address(v), address(&v[nl]) - static_cast<std::uintptr_t>(nl) * sizeof(T));
        release(v, nl, -12345); // the upper bound is ignored
    }
}

template <class T>
void check_matrix(T** (*make)(long, long, long, long), void (*release)(T**, long, long, long, long)) {
    for (const auto& rows : ranges) {
        for (const auto& cols : ranges) {
            const long nrl = rows[0];
            const long nrh = rows[1];
            const long ncl = cols[0];
            const long nch = cols[1];
            const long width = nch - ncl + 1;
            const AllocationProbe probe;
            T** m = make(nrl, nrh, ncl, nch);
            EXPECT_EQ(probe.calls(), 2);
            T* block = &m[nrl][ncl];
            for (long i = nrl; i <= nrh; ++i) {
                for (long j = ncl; j <= nch; ++j) {
                    EXPECT_EQ(&m[i][j], block + (i - nrl) * width + (j - ncl));
                    m[i][j] = static_cast<T>((i - nrl) * 100 + (j - ncl));
                }
            }
            for (long k = 0; k < (nrh - nrl + 1) * width; ++k) {
                EXPECT_EQ(block[k], static_cast<T>((k / width) * 100 + k % width));
            }
            release(m, nrl, 4711, ncl, -4711); // the upper bounds are ignored
        }
    }
}

template <class T>
void check_tensor(T*** (*make)(long, long, long, long, long, long),
                  void (*release)(T***, long, long, long, long, long, long)) {
    constexpr long bounds[][6] = {{1, 3, 1, 4, 1, 5}, {0, 2, 0, 3, 0, 4},   {-2, 1, 5, 6, -7, -5},
                                  {4, 4, 1, 3, 0, 2}, {1, 2, -1, -1, 9, 9}, {1, 1, 1, 1, 1, 1}};
    for (const auto& b : bounds) {
        const long width = b[3] - b[2] + 1;
        const long depth = b[5] - b[4] + 1;
        const AllocationProbe probe;
        T*** t = make(b[0], b[1], b[2], b[3], b[4], b[5]);
        EXPECT_EQ(probe.calls(), 3);
        T* block = &t[b[0]][b[2]][b[4]];
        T** columns = &t[b[0]][b[2]];
        for (long i = b[0]; i <= b[1]; ++i) {
            for (long j = b[2]; j <= b[3]; ++j) {
                EXPECT_EQ(&t[i][j], columns + (i - b[0]) * width + (j - b[2]));
                for (long k = b[4]; k <= b[5]; ++k) {
                    EXPECT_EQ(&t[i][j][k], block + ((i - b[0]) * width + (j - b[2])) * depth + (k - b[4]));
                    t[i][j][k] = static_cast<T>((i - b[0]) * 20 + (j - b[2]) * 5 + (k - b[4]));
                }
            }
        }
        EXPECT_EQ(t[b[1]][b[3]][b[5]], static_cast<T>((b[1] - b[0]) * 20 + (b[3] - b[2]) * 5 + (b[5] - b[4])));
        release(t, b[0], -1, b[2], -1, b[4], -1); // the upper bounds are ignored
    }
}

// Counts whose bytes stay below 2^63 and that no machine can serve.
constexpr long tooManyBytes = 1L << 62;
constexpr long tooManyFloats = 1L << 60;
constexpr long tooManyPointers = 1L << 59;

} // namespace

TEST(Vectors, FvectorHoldsExactlyItsRange) {
    check_vector<float>(fvector, free_fvector);
}
TEST(Vectors, IvectorHoldsExactlyItsRange) {
    check_vector<int>(ivector, free_ivector);
}
TEST(Vectors, DvectorHoldsExactlyItsRange) {
    check_vector<double>(dvector, free_dvector);
}
TEST(Vectors, LvectorHoldsExactlyItsRange) {
    check_vector<unsigned long>(lvector, free_lvector);
}
TEST(Vectors, CvectorHoldsExactlyItsRange) {
    check_vector<unsigned char>(cvector, free_cvector);
}

TEST(Vectors, ElementZeroOfAOneBasedVectorIsOutsideTheAllocation) {
    for (const long n : {1L, 2L, 17L, 1000L}) {
        float* v = fvector(1, n);
        // The block that malloc made starts at element 1 and has room for n floats.
        EXPECT_GE(malloc_usable_size(&v[1]), static_cast<std::size_t>(n) * sizeof(float));
        if (support::withAddressSanitizer) {
            EXPECT_EQ(malloc_usable_size(&v[1]), static_cast<std::size_t>(n) * sizeof(float));
        }
        free_fvector(v, 1, n);
    }
}

TEST(Vectors, AnEmptyOrInvertedRangeIsAValidHandle) {
    constexpr long empty[][2] = {{1, 0}, {0, -1}, {5, 4}, {1, -100}, {10, -10}, {0, LONG_MIN}, {LONG_MAX, LONG_MIN}};
    for (const auto& range : empty) {
        float* v = fvector(range[0], range[1]);
        EXPECT_NE(v, nullptr);
        free_fvector(v, range[0], range[1]);
        unsigned char* c = cvector(range[0], range[1]);
        EXPECT_NE(c, nullptr);
        free_cvector(c, range[0], range[1]);
    }
}

TEST(Matrices, MatrixIsOneRowMajorBlock) {
    check_matrix<float>(matrix, free_matrix);
}
TEST(Matrices, DmatrixIsOneRowMajorBlock) {
    check_matrix<double>(dmatrix, free_dmatrix);
}
TEST(Matrices, ImatrixIsOneRowMajorBlock) {
    check_matrix<int>(imatrix, free_imatrix);
}

TEST(Matrices, RowsOfAOneBasedMatrixAreExactlyItsColumnCountApart) {
    for (long r = 1; r <= 6; ++r) {
        for (long c = 1; c <= 6; ++c) {
            float** m = matrix(1, r, 1, c);
            for (long i = 1; i <= r; ++i) {
                EXPECT_EQ(&m[i][1], &m[1][1] + (i - 1) * c);
            }
            free_matrix(m, 1, r, 1, c);
        }
    }
}

TEST(Matrices, AZeroBasedMatrixIsTheAllocationItself) {
    float** m = matrix(0, 2, 0, 3);
    // free() takes them only where they are the very blocks that malloc returned.
    float* block = m[0];
    for (int k = 0; k < 12; ++k) {
        block[k] = static_cast<float>(k);
    }
    EXPECT_EQ(m[2][3], 11.0f);
    std::free(m[0]);
    std::free(m);
}

TEST(Matrices, TheSizesAskedForAreThePointersAndTheElements) {
    {
        const AllocationProbe probe;
        double** m = dmatrix(1, 3, 1, 100);
        EXPECT_EQ(probe.calls(), 2);
        EXPECT_EQ(probe.largest(), 300 * sizeof(double));
        free_dmatrix(m, 1, 3, 1, 100);
    }
    {
        const AllocationProbe probe;
        int** m = imatrix(1, 300, 1, 1);
        EXPECT_EQ(probe.largest(), 300 * sizeof(int*));
        free_imatrix(m, 1, 300, 1, 1);
    }
}

TEST(Matrices, EmptyOrInvertedRangesAreValidHandles) {
    constexpr long empty[][4] = {{1, 0, 1, 0},   {1, 0, 1, 5},   {1, 5, 1, 0},
                                 {0, -1, 0, -1}, {3, -3, 3, -3}, {1, 4, 1, -7}};
    for (const auto& b : empty) {
        float** m = matrix(b[0], b[1], b[2], b[3]);
        EXPECT_NE(m, nullptr);
        free_matrix(m, b[0], b[1], b[2], b[3]);
        double** d = dmatrix(b[0], b[1], b[2], b[3]);
        EXPECT_NE(d, nullptr);
        free_dmatrix(d, b[0], b[1], b[2], b[3]);
        int** i = imatrix(b[0], b[1], b[2], b[3]);
        EXPECT_NE(i, nullptr);
        free_imatrix(i, b[0], b[1], b[2], b[3]);
    }
}

TEST(Tensors, F3tensorIsOneRowMajorBlock) {
    check_tensor<float>(f3tensor, free_f3tensor);
}
TEST(Tensors, C3tensorIsOneRowMajorBlock) {
    check_tensor<unsigned char>(c3tensor, free_c3tensor);
}

TEST(Tensors, EmptyOrInvertedRangesAreValidHandles) {
    constexpr long empty[][6] = {
        {1, 0, 1, 0, 1, 0}, {1, 0, 1, 3, 1, 3}, {1, 3, 1, 0, 1, 3}, {1, 3, 1, 3, 1, 0}, {0, -5, 0, -5, 0, -5}};
    for (const auto& b : empty) {
        float*** f = f3tensor(b[0], b[1], b[2], b[3], b[4], b[5]);
        EXPECT_NE(f, nullptr);
        free_f3tensor(f, b[0], b[1], b[2], b[3], b[4], b[5]);
        unsigned char*** c = c3tensor(b[0], b[1], b[2], b[3], b[4], b[5]);
        EXPECT_NE(c, nullptr);
        free_c3tensor(c, b[0], b[1], b[2], b[3], b[4], b[5]);
    }
}

TEST(ConvertMatrix, IsAViewOfTheCallersBlock) {
    for (const long nrl : {-2L, 0L, 1L, 6L}) {
        for (const long ncl : {-3L, 0L, 1L, 4L}) {
            std::vector<float> block(12);
            for (std::size_t k = 0; k < block.size(); ++k) {
                block[k] = static_cast<float>(k);
            }
            const AllocationProbe probe;
            float** b = convert_matrix(block.data(), nrl, nrl + 2, ncl, ncl + 3);
            EXPECT_EQ(probe.calls(), 1) << "row pointers only";
            EXPECT_EQ(probe.largest(), 3 * sizeof(float*));
            for (long i = 0; i < 3; ++i) {
                for (long j = 0; j < 4; ++j) {
                    EXPECT_EQ(&b[nrl + i][ncl + j], &block[static_cast<std::size_t>(4 * i + j)]);
                }
            }
            b[nrl + 1][ncl + 2] = -1.0f;
            EXPECT_EQ(block[6], -1.0f);
            free_convert_matrix(b, nrl, -1, ncl, -1);
            EXPECT_EQ(block[11], 11.0f);
        }
    }
}

TEST(ConvertMatrix, AnEmptyRangeIsAValidHandle) {
    float value = 1.0f;
    for (const long nrh : {0L, -7L}) {
        float** b = convert_matrix(&value, 1, nrh, 1, 1);
        EXPECT_NE(b, nullptr);
        free_convert_matrix(b, 1, nrh, 1, 1);
    }
}

TEST(Submatrix, AliasesTheSourceUnderNewBounds) {
    float** a = matrix(1, 5, 1, 9);
    for (long i = 1; i <= 5; ++i) {
        for (long j = 1; j <= 9; ++j) {
            a[i][j] = static_cast<float>(10 * i + j);
        }
    }
    float** b = submatrix(a, 2, 3, 5, 7, 1, 1);
    EXPECT_EQ(&b[1][1], &a[2][5]);
    EXPECT_EQ(&b[2][3], &a[3][7]);
    b[2][1] = -1.0f;
    EXPECT_EQ(a[3][5], -1.0f);
    free_submatrix(b, 1, 2, 1, 3);
    EXPECT_EQ(a[2][5], 25.0f);
    EXPECT_EQ(a[5][9], 59.0f);
    free_matrix(a, 1, 5, 1, 9);
}

TEST(Submatrix, AnyBoundsMayBeNewAndTheLastOldColumnIsNotUsed) {
    float** a = matrix(-2, 4, -3, 5);
    const AllocationProbe probe;
    float** b = submatrix(a, -1, 3, -2, -1000, 10, -20);
    EXPECT_EQ(probe.calls(), 1);
    EXPECT_EQ(probe.largest(), 5 * sizeof(float*));
    for (long i = 0; i < 5; ++i) {
        for (long j = 0; j < 8; ++j) {
            EXPECT_EQ(&b[10 + i][-20 + j], &a[-1 + i][-2 + j]);
        }
    }
    // The two view releasers are one routine.
    free_convert_matrix(b, 10, 0, 0, 0);
    float** c = submatrix(a, 0, -1, 0, 0, 1, 1);
    EXPECT_NE(c, nullptr);
    free_submatrix(c, 1, 0, 1, 1);
    free_matrix(a, -2, 4, -3, 5);
}

TEST(Create2dArray, MakesRowsOfTheirOwn) {
    float** a = create2dArray(3, 4);
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 4; ++j) {
            a[i][j] = static_cast<float>(10 * i + j);
        }
    }
    EXPECT_EQ(a[2][3], 23.0f);
    // Each row is released on its own: the sanitizers would object if rows shared a block.
    delete[] a[1];
    a[1] = new float[1];
    delete2dArray(a, 3, 4);
}

TEST(Create2dArray, CountsOfZeroOrLessMakeNoRowsOrEmptyRows) {
    for (const int rows : {0, -1, INT_MIN}) {
        float** a = create2dArray(rows, 4);
        EXPECT_NE(a, nullptr);
        delete2dArray(a, rows, 4);
    }
    for (const int cols : {0, -1, INT_MIN}) {
        float** a = create2dArray(2, cols);
        EXPECT_NE(a, nullptr);
        EXPECT_NE(a[0], nullptr);
        EXPECT_NE(a[1], nullptr);
        delete2dArray(a, 2, cols);
    }
}

TEST(Create2dArrayDeathTest, AnExhaustedHeapSurfacesAsBadAlloc) {
    if (support::withAddressSanitizer || support::under_valgrind()) {
        GTEST_SKIP() << "the checker leaves no room for a limit";
    }
    const auto within_limit = [] {
        const rlimit oneGigabyte{1UL << 30, 1UL << 30};
        setrlimit(RLIMIT_AS, &oneGigabyte);
        try {
            create2dArray(1, INT_MAX);
        } catch (const std::bad_alloc&) {
            std::exit(42);
        }
    };
    EXPECT_EXIT(within_limit(), testing::ExitedWithCode(42), "");
}

TEST(Delete2dArray, SkipsNullRowsAndIgnoresTheColumnCount) {
    float** a = new float* [3] { new float[2], nullptr, new float[5] };
    delete2dArray(a, 3, -77);
}

TEST(Delete2dArray, NullIsAcceptedWithoutRows) {
    delete2dArray(nullptr, 0, 3);
    delete2dArray(nullptr, -1, 3);
}

TEST(Delete2dArray, RowsBeyondTheCountStayTheCallers) {
    float* kept = new float[1]{7.0f};
    float** a = new float* [2] { new float[1], kept };
    delete2dArray(a, 1, 1);
    EXPECT_EQ(kept[0], 7.0f);
    delete[] kept;
}

TEST(Delete2dArrayDeathTest, WalksTheRowsBeforeItLooksAtTheArray) {
    EXPECT_DEATH(delete2dArray(nullptr, 1, 1), "");
}

TEST(NrerrorDeathTest, WritesThreeLinesAndEndsWithStatusOne) {
    EXPECT_FATAL(nrerror("something went wrong"), "something went wrong");
    EXPECT_FATAL(nrerror(""), "");
    EXPECT_FATAL(nrerror("100% of %s and %n stay as they are"), "100% of %s and %n stay as they are");
}

TEST(NrerrorDeathTest, NeverReturns) {
    static_assert(std::is_same_v<decltype(nrerror("")), void>);
    EXPECT_FATAL(
        {
            nrerror("first");
            nrerror("second");
        },
        "first");
}

TEST(VectorsDeathTest, AFailedAllocationNamesTheRoutine) {
    EXPECT_FATAL(fvector(1, tooManyFloats), "allocation failure in vector()");
    EXPECT_FATAL(ivector(1, tooManyFloats), "allocation failure in ivector()");
    EXPECT_FATAL(dvector(1, tooManyPointers), "allocation failure in dvector()");
    EXPECT_FATAL(lvector(1, tooManyPointers), "allocation failure in lvector()");
    EXPECT_FATAL(cvector(1, tooManyBytes), "allocation failure in cvector()");
}

TEST(VectorsDeathTest, ASizeThatOverflowsIsAFailedAllocation) {
    EXPECT_FATAL(fvector(1, LONG_MAX), "allocation failure in vector()");
    EXPECT_FATAL(fvector(LONG_MIN, LONG_MAX), "allocation failure in vector()");
    // 2^62 + 1 floats would wrap to 4 bytes.
    EXPECT_FATAL(fvector(0, 1L << 62), "allocation failure in vector()");
    EXPECT_FATAL(ivector(0, 1L << 62), "allocation failure in ivector()");
    EXPECT_FATAL(dvector(0, 1L << 61), "allocation failure in dvector()");
    EXPECT_FATAL(lvector(0, 1L << 61), "allocation failure in lvector()");
    EXPECT_FATAL(cvector(LONG_MIN, LONG_MAX), "allocation failure in cvector()");
}

TEST(MatricesDeathTest, FailedRowPointersAreFailureOneOfMatrixForAllTypes) {
    EXPECT_FATAL(matrix(1, tooManyPointers, 1, 1), "allocation failure 1 in matrix()");
    EXPECT_FATAL(dmatrix(1, tooManyPointers, 1, 1), "allocation failure 1 in matrix()");
    EXPECT_FATAL(imatrix(1, tooManyPointers, 1, 1), "allocation failure 1 in matrix()");
}

TEST(MatricesDeathTest, FailedElementsAreFailureTwoOfMatrixForAllTypes) {
    EXPECT_FATAL(matrix(1, 1, 1, tooManyFloats), "allocation failure 2 in matrix()");
    EXPECT_FATAL(dmatrix(1, 2, 1, 1L << 58), "allocation failure 2 in matrix()");
    EXPECT_FATAL(imatrix(1, 1, 1, tooManyFloats), "allocation failure 2 in matrix()");
}

TEST(MatricesDeathTest, AnElementCountThatOverflowsIsFailureTwo) {
    // 16 rows of 2^60 floats: the count itself wraps to 0.
    EXPECT_FATAL(matrix(1, 16, 1, 1L << 60), "allocation failure 2 in matrix()");
    EXPECT_FATAL(dmatrix(1, 8, 1, 1L << 58), "allocation failure 2 in matrix()");
    EXPECT_FATAL(imatrix(1, 4, 1, 1L << 60), "allocation failure 2 in matrix()");
}

TEST(TensorsDeathTest, EachLevelHasItsFailure) {
    EXPECT_FATAL(f3tensor(1, tooManyPointers, 1, 1, 1, 1), "allocation failure 1 in f3tensor()");
    EXPECT_FATAL(f3tensor(1, 2, 1, 1L << 58, 1, 1), "allocation failure 2 in f3tensor()");
    EXPECT_FATAL(f3tensor(1, 2, 1, 2, 1, 1L << 58), "allocation failure 3 in f3tensor()");
    EXPECT_FATAL(c3tensor(1, tooManyPointers, 1, 1, 1, 1), "allocation failure 1 in c3tensor()");
    EXPECT_FATAL(c3tensor(1, 2, 1, 1L << 58, 1, 1), "allocation failure 2 in c3tensor()");
    EXPECT_FATAL(c3tensor(1, 2, 1, 2, 1, 1L << 60), "allocation failure 3 in c3tensor()");
}

TEST(TensorsDeathTest, CountsThatOverflowAreFailuresOfTheirLevel) {
    EXPECT_FATAL(f3tensor(1, 16, 1, 1L << 60, 1, 1), "allocation failure 2 in f3tensor()");
    EXPECT_FATAL(f3tensor(1, 16, 1, 1, 1, 1L << 60), "allocation failure 3 in f3tensor()");
    EXPECT_FATAL(c3tensor(1, 16, 1, 1L << 60, 1, 1), "allocation failure 2 in c3tensor()");
    EXPECT_FATAL(c3tensor(1, 16, 1, 1, 1, 1L << 60), "allocation failure 3 in c3tensor()");
}

TEST(ViewsDeathTest, FailedRowPointersNameTheRoutine) {
    float value = 0.0f;
    float* row = &value;
    EXPECT_FATAL(convert_matrix(&value, 1, tooManyPointers, 1, 1), "allocation failure in convert_matrix()");
    EXPECT_FATAL(submatrix(&row, 1, tooManyPointers, 1, 1, 1, 1), "allocation failure in submatrix()");
}

TEST(MatricesDeathTest, TheRowPointersAreAskedForFirst) {
    // Both would fail: the message is that of the first step.
    EXPECT_FATAL(matrix(1, tooManyPointers, 1, tooManyFloats), "allocation failure 1 in matrix()");
    EXPECT_FATAL(f3tensor(1, 2, 1, 1L << 58, 1, 1L << 58), "allocation failure 2 in f3tensor()");
}
