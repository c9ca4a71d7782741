#pragma once

#include <cstddef>
#include <cstring>
#include <functional>
#include <string>

/// What the benchmarks of single routines share. Each is registered under ROUTINE/SIZE/VARIANT, where the variant is
/// ours, plain (the readable definition) or library:NAME (well-known software that does the same work).
namespace bench {

/// One variant with data of its own: one round of work, input copied afresh where it is destroyed, and the bytes that
/// it left.
struct Work {
    std::function<void()> run;
    std::function<std::string()> result;
};

using MakeWork = std::function<Work()>;

/// Before ours is timed, its result is compared with the plain one's: other bits are an error.
void add_routine(const std::string& routine, const std::string& size, const MakeWork& ours, const MakeWork& plain);
void add_routine(const std::string& routine, const std::string& size, const MakeWork& ours, const MakeWork& plain,
                 const std::string& libraryName, const MakeWork& library);

template <class T>
std::string bytes_of(const T* values, std::size_t count) {
    return std::string(reinterpret_cast<const char*>(values), count * sizeof(T));
}

// One per source file.
void add_eigen_routines();
void add_dense_routines();
void add_svd_routines();
void add_signal_routines();
void add_sample_routines();
void add_product_routines();

} // namespace bench
