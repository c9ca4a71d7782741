#include "workbench/failed_transfers.h"

#include <atomic>
#include <cerrno>
#include <cstring>

#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

std::atomic<int> firstError{0};
std::atomic<bool> wasWrite{false};

void note_failure(int descriptor, bool writing) {
    const int error = errno;
    struct stat status {};
    int none = 0;
    if (error != EINTR && error != EAGAIN && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        firstError.compare_exchange_strong(none, error)) {
        wasWrite = writing;
    }
    errno = error;
}

// Whether a file that gave nothing more has ended in earnest.
void note_early_end(int descriptor) {
    struct stat status {};
    const off_t at = lseek(descriptor, 0, SEEK_CUR);
    if (at >= 0 && fstat(descriptor, &status) == 0 && at < status.st_size) {
        errno = EIO;
        note_failure(descriptor, false);
    }
}

// The function of this name that would have been called if this program had none.
template <class Function>
Function* next_function(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

// The streams of the C++ library, in the module too, call these in the place of the system's. Here they go by other
// names, which the system's headers do not know.
#define WATCHED extern "C" __attribute__((visibility("default")))
WATCHED ssize_t watched_read(int descriptor, void* data, size_t size) __asm__("read");
WATCHED ssize_t watched_write(int descriptor, const void* data, size_t size) __asm__("write");
WATCHED ssize_t watched_writev(int descriptor, const iovec* parts, int count) __asm__("writev");
WATCHED off_t watched_lseek(int descriptor, off_t offset, int whence) noexcept __asm__("lseek");
WATCHED off64_t watched_lseek64(int descriptor, off64_t offset, int whence) noexcept __asm__("lseek64");

ssize_t watched_read(int descriptor, void* data, size_t size) {
    static auto* const next = next_function<ssize_t(int, void*, size_t)>("read");
    const ssize_t done = next(descriptor, data, size);
    if (done < 0) {
        note_failure(descriptor, false);
    } else if (done == 0 && size != 0) {
        const int error = errno;
        note_early_end(descriptor);
        errno = error;
    }
    return done;
}

ssize_t watched_write(int descriptor, const void* data, size_t size) {
    static auto* const next = next_function<ssize_t(int, const void*, size_t)>("write");
    const ssize_t done = next(descriptor, data, size);
    if (done < 0) {
        note_failure(descriptor, true);
    }
    return done;
}

ssize_t watched_writev(int descriptor, const iovec* parts, int count) {
    static auto* const next = next_function<ssize_t(int, const iovec*, int)>("writev");
    const ssize_t done = next(descriptor, parts, count);
    if (done < 0) {
        note_failure(descriptor, true);
    }
    return done;
}

// A place that no file can have is the caller's mistake; all else is the disk's.
off_t watched_lseek(int descriptor, off_t offset, int whence) noexcept {
    static auto* const next = next_function<off_t(int, off_t, int)>("lseek");
    const off_t place = next(descriptor, offset, whence);
    if (place < 0 && errno != EINVAL) {
        note_failure(descriptor, false);
    }
    return place;
}

off64_t watched_lseek64(int descriptor, off64_t offset, int whence) noexcept {
    static auto* const next = next_function<off64_t(int, off64_t, int)>("lseek64");
    const off64_t place = next(descriptor, offset, whence);
    if (place < 0 && errno != EINVAL) {
        note_failure(descriptor, false);
    }
    return place;
}

namespace workbench {

void forget_failed_transfers() {
    firstError = 0;
}

std::string failed_transfer() {
    const int error = firstError;
    return error == 0 ? ""
                      : std::string(wasWrite ? "a file could not be written" : "a file could not be read") + " (" +
                            std::strerror(error) + ")";
}

} // namespace workbench
