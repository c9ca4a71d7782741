#include "plugin/host_binding.h"

#include <dlfcn.h>

namespace host {

#define HOST_FUNCTION(name) Signature<name##_tag>::type name = nullptr;
#include "plugin/host_functions.def"
#undef HOST_FUNCTION

Uncalled nv_intel_matrix_matrix_mult_f = nullptr;
MatrixMatrixD nv_intel_matrix_matrix_mult_d = nullptr;
Uncalled nv_intel_matrix_vector_mult_f = nullptr;
Uncalled nv_intel_matrix_vector_mult_d = nullptr;

} // namespace host

namespace {

// The running process's own global symbols. The handle is asked for anew each time and never closed.
void* process_handle() {
    return dlopen(nullptr, RTLD_LAZY);
}

template <class Function>
bool bind(void* process, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(process, name));
    return function != nullptr;
}

} // namespace

bool InitNVAccess() {
    void* process = process_handle();
    if (process == nullptr || !bind(process, "nvGetVersionOfNivora", host::nvGetVersionOfNivora)) {
        return false;
    }
#define REQUIRED_HOST_FUNCTION(name) // bound above
#define HOST_FUNCTION(name) bind(process, #name, host::name);
#include "plugin/host_functions.def"
#undef HOST_FUNCTION
    return true;
}

bool InitMKLCBLASAccess() {
    void* process = process_handle();
    return process != nullptr && bind(process, "nv_intel_matrix_matrix_mult_f", host::nv_intel_matrix_matrix_mult_f) &&
           bind(process, "nv_intel_matrix_matrix_mult_d", host::nv_intel_matrix_matrix_mult_d) &&
           bind(process, "nv_intel_matrix_vector_mult_f", host::nv_intel_matrix_vector_mult_f) &&
           bind(process, "nv_intel_matrix_vector_mult_d", host::nv_intel_matrix_vector_mult_d);
}
