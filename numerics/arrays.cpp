#include "numerics/arrays.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

// Elements in lo..hi; an empty or inverted range has none. Formed in unsigned arithmetic, so that no bounds overflow;
// the full range of long, whose count does not fit, is one short and just as impossible to allocate.
std::size_t range_size(long lo, long hi) {
    if (hi < lo) {
        return 0;
    }
    const std::size_t span = static_cast<std::size_t>(hi) - static_cast<std::size_t>(lo);
    return span == SIZE_MAX ? span : span + 1;
}

// A block of a*b*c elements, or null when it cannot be had. Never null for 0 elements.
template <class T>
T* allocate(std::size_t a, std::size_t b = 1, std::size_t c = 1) {
    std::size_t count = 0;
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(a, b, &count) || __builtin_mul_overflow(count, c, &count) ||
        __builtin_mul_overflow(count, sizeof(T), &bytes) || bytes > PTRDIFF_MAX) {
        return nullptr;
    }
    return static_cast<T*>(std::malloc(bytes == 0 ? 1 : bytes));
}

// Moves a pointer by a number of elements without forming intermediate pointers: handles lie outside their block.
template <class T>
T* shifted(T* base, long elements) {
    return reinterpret_cast<T*>(reinterpret_cast<std::uintptr_t>(base) +
                                static_cast<std::uintptr_t>(elements) * sizeof(T));
}

template <class T>
T* shifted_back(T* base, long elements) {
    return reinterpret_cast<T*>(reinterpret_cast<std::uintptr_t>(base) -
                                static_cast<std::uintptr_t>(elements) * sizeof(T));
}

template <class T>
T* make_vector(long nl, long nh, const char* failure) {
    T* block = allocate<T>(range_size(nl, nh));
    if (block == nullptr) {
        nrerror(failure);
    }
    return shifted_back(block, nl);
}

template <class T>
void free_vector(T* v, long nl) {
    std::free(shifted(v, nl));
}

// Row handles over a dense block whose first row handle is already shifted to its column base.
template <class T>
void fill_rows(T** rows, std::size_t nRows, T* firstRow, std::size_t rowLength) {
    for (std::size_t i = 0; i < nRows; ++i) {
        rows[i] = shifted(firstRow, static_cast<long>(i * rowLength));
    }
}

// float, double and int matrices share these two texts: a message never tells the three apart.
template <class T>
T** make_matrix(long nrl, long nrh, long ncl, long nch) {
    const std::size_t nRows = range_size(nrl, nrh);
    const std::size_t nCols = range_size(ncl, nch);
    T** rows = allocate<T*>(nRows == 0 ? 1 : nRows); // the first row handle is needed to free the block
    if (rows == nullptr) {
        nrerror("allocation failure 1 in matrix()");
    }
    T* block = allocate<T>(nRows, nCols);
    if (block == nullptr) {
        nrerror("allocation failure 2 in matrix()");
    }
    rows[0] = shifted_back(block, ncl);
    fill_rows(rows, nRows, rows[0], nCols);
    return shifted_back(rows, nrl);
}

template <class T>
void release_matrix(T** m, long nrl, long ncl) {
    T** rows = shifted(m, nrl);
    std::free(shifted(rows[0], ncl));
    std::free(rows);
}

template <class T>
T*** make_tensor(long nrl, long nrh, long ncl, long nch, long ndl, long ndh, const char* const failures[3]) {
    const std::size_t nRows = range_size(nrl, nrh);
    const std::size_t nCols = range_size(ncl, nch);
    const std::size_t depth = range_size(ndl, ndh);
    T*** rows = allocate<T**>(nRows == 0 ? 1 : nRows);
    if (rows == nullptr) {
        nrerror(failures[0]);
    }
    const bool empty = nRows == 0 || nCols == 0;
    T** cols = empty ? allocate<T*>(1) : allocate<T*>(nRows, nCols);
    if (cols == nullptr) {
        nrerror(failures[1]);
    }
    T* block = allocate<T>(nRows, nCols, depth);
    if (block == nullptr) {
        nrerror(failures[2]);
    }
    cols[0] = shifted_back(block, ndl);
    fill_rows(cols, nRows * nCols, cols[0], depth);
    rows[0] = shifted_back(cols, ncl);
    fill_rows(rows, nRows, rows[0], nCols);
    return shifted_back(rows, nrl);
}

template <class T>
void release_tensor(T*** t, long nrl, long ncl, long ndl) {
    T*** rows = shifted(t, nrl);
    T** cols = shifted(rows[0], ncl);
    std::free(shifted(cols[0], ndl));
    std::free(cols);
    std::free(rows);
}

} // namespace

void nrerror(const char* message) {
    std::fprintf(stderr, "Numerical Recipes run-time error...\n");
    std::fprintf(stderr, "%s\n", message);
    std::fprintf(stderr, "...now exiting to system...\n");
    std::exit(1);
}

// fvector names itself vector() in its message: kept on purpose.
float* fvector(long nl, long nh) {
    return make_vector<float>(nl, nh, "allocation failure in vector()");
}
int* ivector(long nl, long nh) {
    return make_vector<int>(nl, nh, "allocation failure in ivector()");
}
double* dvector(long nl, long nh) {
    return make_vector<double>(nl, nh, "allocation failure in dvector()");
}
unsigned long* lvector(long nl, long nh) {
    return make_vector<unsigned long>(nl, nh, "allocation failure in lvector()");
}
unsigned char* cvector(long nl, long nh) {
    return make_vector<unsigned char>(nl, nh, "allocation failure in cvector()");
}

void free_fvector(float* v, long nl, long) {
    free_vector(v, nl);
}
void free_ivector(int* v, long nl, long) {
    free_vector(v, nl);
}
void free_dvector(double* v, long nl, long) {
    free_vector(v, nl);
}
void free_lvector(unsigned long* v, long nl, long) {
    free_vector(v, nl);
}
void free_cvector(unsigned char* v, long nl, long) {
    free_vector(v, nl);
}

float** matrix(long nrl, long nrh, long ncl, long nch) {
    return make_matrix<float>(nrl, nrh, ncl, nch);
}
double** dmatrix(long nrl, long nrh, long ncl, long nch) {
    return make_matrix<double>(nrl, nrh, ncl, nch);
}
int** imatrix(long nrl, long nrh, long ncl, long nch) {
    return make_matrix<int>(nrl, nrh, ncl, nch);
}

void free_matrix(float** m, long nrl, long, long ncl, long) {
    release_matrix(m, nrl, ncl);
}
void free_dmatrix(double** m, long nrl, long, long ncl, long) {
    release_matrix(m, nrl, ncl);
}
void free_imatrix(int** m, long nrl, long, long ncl, long) {
    release_matrix(m, nrl, ncl);
}

float*** f3tensor(long nrl, long nrh, long ncl, long nch, long ndl, long ndh) {
    static constexpr const char* failures[3] = {"allocation failure 1 in f3tensor()",
                                                "allocation failure 2 in f3tensor()",
                                                "allocation failure 3 in f3tensor()"};
    return make_tensor<float>(nrl, nrh, ncl, nch, ndl, ndh, failures);
}

unsigned char*** c3tensor(long nrl, long nrh, long ncl, long nch, long ndl, long ndh) {
    static constexpr const char* failures[3] = {"allocation failure 1 in c3tensor()",
                                                "allocation failure 2 in c3tensor()",
                                                "allocation failure 3 in c3tensor()"};
    return make_tensor<unsigned char>(nrl, nrh, ncl, nch, ndl, ndh, failures);
}

void free_f3tensor(float*** t, long nrl, long, long ncl, long, long ndl, long) {
    release_tensor(t, nrl, ncl, ndl);
}
void free_c3tensor(unsigned char*** t, long nrl, long, long ncl, long, long ndl, long) {
    release_tensor(t, nrl, ncl, ndl);
}

float** convert_matrix(float* a, long nrl, long nrh, long ncl, long nch) {
    const std::size_t nRows = range_size(nrl, nrh);
    float** rows = allocate<float*>(nRows);
    if (rows == nullptr) {
        nrerror("allocation failure in convert_matrix()");
    }
    fill_rows(rows, nRows, shifted_back(a, ncl), range_size(ncl, nch));
    return shifted_back(rows, nrl);
}

float** submatrix(float** a, long oldrl, long oldrh, long oldcl, long, long newrl, long newcl) {
    const std::size_t nRows = range_size(oldrl, oldrh);
    float** rows = allocate<float*>(nRows);
    if (rows == nullptr) {
        nrerror("allocation failure in submatrix()");
    }
    float** source = shifted(a, oldrl);
    for (std::size_t i = 0; i < nRows; ++i) {
        rows[i] = shifted_back(shifted(source[i], oldcl), newcl);
    }
    return shifted_back(rows, newrl);
}

void free_convert_matrix(float** b, long nrl, long, long, long) {
    free_vector(b, nrl);
}
void free_submatrix(float** b, long nrl, long, long, long) {
    free_vector(b, nrl);
}

float** create2dArray(int rows, int cols) {
    const int nRows = rows < 0 ? 0 : rows;
    const int nCols = cols < 0 ? 0 : cols;
    float** a = new float*[static_cast<std::size_t>(nRows)]();
    try {
        for (int i = 0; i < nRows; ++i) {
            a[i] = new float[static_cast<std::size_t>(nCols)];
        }
    } catch (...) {
        delete2dArray(a, nRows, nCols); // the rows that could be had
        throw;
    }
    return a;
}

void delete2dArray(float** a, int rows, int) {
    for (int i = 0; i < rows; ++i) {
        delete[] a[i];
    }
    delete[] a;
}
