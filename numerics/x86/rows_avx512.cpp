#define ROWS_NAMESPACE rows_avx512
#define LANES 16
#include "numerics/x86/rows_kernel.h"
