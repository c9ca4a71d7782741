#pragma once

#include "plugin/host_records.h"

/// The workbench's functions, found by name in the hosting process. Every run binds them anew; a name that the
/// workbench does not have gives a null pointer.
namespace host {

/// Functions that are bound but never called, so that their signatures stay the workbench's business.
using Uncalled = void (*)();

template <class Name>
struct Signature {
    using type = Uncalled;
};

// One tag per function, so that each pointer has the type of the function it stands for.
#define HOST_FUNCTION(name) struct name##_tag;
#include "plugin/host_functions.def"
#undef HOST_FUNCTION

#define HOST_SIGNATURE(name, ...)                                                                                      \
    template <>                                                                                                        \
    struct Signature<name##_tag> {                                                                                     \
        using type = __VA_ARGS__;                                                                                      \
    };
HOST_SIGNATURE(nvGetVersionOfNivora, void (*)(int* major, int* minor, int* patch))
HOST_SIGNATURE(nvMessageBox, void (*)(const char* text))
HOST_SIGNATURE(nvShowLogTab, void (*)())
HOST_SIGNATURE(nvLogText, void (*)(const char* text))
HOST_SIGNATURE(nvGetCurrentVMR, void* (*)(int*, int*, int*))
HOST_SIGNATURE(nvGetOpenFileName, int (*)(const char* title, const char* second, const char* filter, char* path))
HOST_SIGNATURE(nvShowBusyCursor, void (*)())
HOST_SIGNATURE(nvStopBusyCursor, void (*)())
HOST_SIGNATURE(nvUpdateActiveWindow, void (*)())
HOST_SIGNATURE(nvClearProtocol, void (*)())
HOST_SIGNATURE(nvLoadProtocol, void (*)(const char* path))
HOST_SIGNATURE(nvGetProtocol, int (*)(ProtocolStruct* protocol))
HOST_SIGNATURE(nvGetProtocolCondition, void (*)(int index, ProtocolConditionStruct* condition))
HOST_SIGNATURE(nvGetIntegerInput, int (*)(const char* prompt, int defaultValue, int minValue, int maxValue))
#undef HOST_SIGNATURE

#define HOST_FUNCTION(name) extern Signature<name##_tag>::type name;
#include "plugin/host_functions.def"
#undef HOST_FUNCTION

/// Dense row-major products of the workbench; the flags are 32-bit 0 or 1.
using MatrixMatrixD = void (*)(const double* a, const double* b, double* c, int m, int n, int k, int transA,
                               int transB);

extern Uncalled nv_intel_matrix_matrix_mult_f;
extern MatrixMatrixD nv_intel_matrix_matrix_mult_d;
extern Uncalled nv_intel_matrix_vector_mult_f;
extern Uncalled nv_intel_matrix_vector_mult_d;

} // namespace host

/// Binds the 150 functions of host_functions.def in their order.
/// @return false when the process gives no handle or has no nvGetVersionOfNivora; the later names then keep what
///         they were bound to before. Any other missing function goes unnoticed: its pointer is null.
bool InitNVAccess();

/// Binds the four matrix products; stops at the first that is missing.
/// @return true when all four were found.
bool InitMKLCBLASAccess();
