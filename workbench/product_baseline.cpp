#include "workbench/product_kernels.h"

#define PRODUCT_NAMESPACE product_baseline
#define LANES 2
#define VECTORS 2
#define ROWS 4
#include "workbench/product_kernel.h"
