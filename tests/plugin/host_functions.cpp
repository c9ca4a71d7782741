// A workbench of functions that only exist: what is tested is how they are found.

#include "export.h"

extern const char* const missingHostFunction;
const char* const missingHostFunction = MISSING_HOST_FUNCTION;

extern "C" {
#define HOST_FUNCTION(name)                                                                                            \
    ORIDAN_API void name();                                                                                            \
    void name() {}
#include "plugin/host_functions.def"
HOST_FUNCTION(nv_intel_matrix_matrix_mult_f)
HOST_FUNCTION(nv_intel_matrix_matrix_mult_d)
HOST_FUNCTION(nv_intel_matrix_vector_mult_f)
HOST_FUNCTION(nv_intel_matrix_vector_mult_d)
#undef HOST_FUNCTION
}
