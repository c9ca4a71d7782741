#include <immintrin.h>

#include "workbench/product_kernels.h"

#define PRODUCT_NAMESPACE product_avx512
#define LANES 8
#define VECTORS 2
#define ROWS 8
#define FUSED_PRODUCT(a, b, c) ((Vector)_mm512_fmadd_pd((__m512d)(a), (__m512d)(b), (__m512d)(c)))
#include "workbench/product_kernel.h"
