#define ROWS_NAMESPACE rows_avx2
#define LANES 8
#include "numerics/x86/rows_kernel.h"
