#include <immintrin.h>

#include "workbench/product_kernels.h"

#define PRODUCT_NAMESPACE product_avx2
#define LANES 4
#define VECTORS 3
#define ROWS 4
#define FUSED_PRODUCT(a, b, c) ((Vector)_mm256_fmadd_pd((__m256d)(a), (__m256d)(b), (__m256d)(c)))
#include "workbench/product_kernel.h"
