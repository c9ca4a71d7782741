#include "tests/fileio/seek_probe.h"

#include <cerrno>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool watching = false;
int callAt = 0;
int callCount = 0;
std::function<void()> whatHappens; // nothing: the seek fails

} // namespace

// Stands in for the C library's, which the streams call.
#pragma GCC visibility push(default)
extern "C" off64_t lseek64(int descriptor, off64_t offset, int whence) noexcept {
    if (watching && callCount++ == callAt) {
        if (!whatHappens) {
            errno = EIO;
            return -1;
        }
        watching = false; // its own seeks do not count
        whatHappens();
        watching = true;
    }
    return syscall(SYS_lseek, descriptor, offset, whence);
}
#pragma GCC visibility pop

SeekProbe::SeekProbe(int failing) : SeekProbe(failing, {}) {}
SeekProbe::SeekProbe(int at, std::function<void()> happening) {
    callAt = at;
    callCount = 0;
    whatHappens = std::move(happening);
    watching = true;
}
SeekProbe::~SeekProbe() {
    watching = false;
}
int SeekProbe::calls() const {
    return callCount;
}
