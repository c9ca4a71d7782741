#pragma once

#include <cstdlib>
#include <cstring>

/// Which memory checker the tests run under: a few limits and allocations behave differently there.
namespace support {

#ifdef ORIDAN_UNDER_ASAN
constexpr bool withAddressSanitizer = true;
#else
constexpr bool withAddressSanitizer = false;
#endif

/// Valgrind aborts the program where new cannot be served, instead of throwing, and fills what it allocates.
inline bool under_valgrind() {
    const char* preloaded = std::getenv("LD_PRELOAD");
    return preloaded != nullptr && std::strstr(preloaded, "vgpreload") != nullptr;
}

} // namespace support
