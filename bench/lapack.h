#pragma once

/// The two LAPACK routines that the benchmarks use, as every LAPACK has them: column by column, everything by address.
extern "C" {
void ssyevd_(const char* jobz, const char* uplo, const int* n, float* a, const int* lda, float* w, float* work,
             const int* lwork, int* iwork, const int* liwork, int* info);
void sgesdd_(const char* jobz, const int* m, const int* n, float* a, const int* lda, float* s, float* u, const int* ldu,
             float* vt, const int* ldvt, float* work, const int* lwork, int* iwork, int* info);
}
