// Preloaded into a program under test: counts its calls that change files, or those that read them, over all of its
// processes, and lets something happen at one of them.
//   FAULT_COUNTER  file of 8 bytes; the number of calls so far stands there
//   FAULT_CALLS    "changes" or "reads"
//   FAULT_AT       number of the call, from 1; nothing happens at 0
//   FAULT_ACTION   "kill" (the process group), "kill self", "fail N" (with that errno), "end" (a read that
//                  finds the end of the file), "full" (from this call on no
//                  call that takes room succeeds), "rename A B", "cut A", "remove A", "forbid A" (to write in it),
//                  "fill A" (with that file)

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

struct Plan {
    std::atomic<long>* counter = nullptr;
    bool reads = false;
    long at = 0;
    char action[600] = "";
    int folder = AT_FDCWD; // where the program was started; its processes move elsewhere
};

const Plan& plan() {
    static const Plan made = [] {
        Plan p;
        const char* file = std::getenv("FAULT_COUNTER");
        const char* calls = std::getenv("FAULT_CALLS");
        const char* at = std::getenv("FAULT_AT");
        const char* action = std::getenv("FAULT_ACTION");
        const long descriptor = file == nullptr ? -1 : syscall(SYS_openat, AT_FDCWD, file, O_RDWR | O_CLOEXEC);
        if (descriptor >= 0) {
            void* memory = mmap(nullptr, sizeof(std::atomic<long>), PROT_READ | PROT_WRITE, MAP_SHARED,
                                static_cast<int>(descriptor), 0);
            p.counter = memory == MAP_FAILED ? nullptr : static_cast<std::atomic<long>*>(memory);
            syscall(SYS_close, descriptor);
        }
        p.folder = static_cast<int>(syscall(SYS_openat, AT_FDCWD, ".", O_PATH | O_DIRECTORY | O_CLOEXEC));
        p.reads = calls != nullptr && std::strcmp(calls, "reads") == 0;
        p.at = at == nullptr ? 0 : std::atol(at);
        std::snprintf(p.action, sizeof p.action, "%s", action == nullptr ? "" : action);
        return p;
    }();
    return made;
}

// Acts on the files themselves, past the functions below.
void act_on_files(const char* action, int folder) {
    char first[256] = "";
    char second[256] = "";
    if (std::sscanf(action, "rename %255s %255s", first, second) == 2) {
        syscall(SYS_renameat2, folder, first, folder, second, 0);
    } else if (std::sscanf(action, "cut %255s", first) == 1) {
        const long descriptor = syscall(SYS_openat, folder, first, O_WRONLY | O_CLOEXEC);
        syscall(SYS_ftruncate, descriptor, 100L);
        syscall(SYS_close, descriptor);
    } else if (std::sscanf(action, "remove %255s", first) == 1) {
        syscall(SYS_unlinkat, folder, first, 0);
    } else if (std::sscanf(action, "forbid %255s", first) == 1) {
        syscall(SYS_fchmodat, folder, first, 0555);
    } else if (std::sscanf(action, "fill %255s", first) == 1) {
        const long descriptor = syscall(SYS_openat, folder, first, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        const char block[4096] = "";
        while (descriptor >= 0 && syscall(SYS_write, descriptor, block, sizeof block) > 0) {
        }
        syscall(SYS_close, descriptor);
    }
}

// Counts a call. True where it is to fail; errno is set then.
bool fails(bool reading, bool takesRoom) {
    const Plan& p = plan();
    if (p.counter == nullptr || reading != p.reads) {
        return false;
    }
    const long number = ++*p.counter;
    const bool full = std::strcmp(p.action, "full") == 0;
    if (p.at == 0 || number < p.at || (number > p.at && !full)) {
        return false;
    }
    if (full) {
        errno = ENOSPC;
        return takesRoom;
    }
    int error = 0;
    if (std::strcmp(p.action, "kill") == 0) {
        kill(0, SIGKILL);
    } else if (std::strcmp(p.action, "kill self") == 0) {
        kill(getpid(), SIGKILL);
    } else if (std::sscanf(p.action, "fail %d", &error) == 1) {
        errno = error;
        return true;
    } else if (std::strcmp(p.action, "end") == 0) {
        return true;
    }
    const int before = errno;
    act_on_files(p.action, p.folder);
    errno = before;
    return false;
}

// Whether what fails is a read that finds the end of the file.
bool ends() {
    return std::strcmp(plan().action, "end") == 0;
}

bool is_file(int descriptor) {
    struct stat status {};
    const int before = errno;
    const bool is = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
    errno = before;
    return is;
}

template <class Function>
Function* next_function(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool opens_for_change(const char* mode) {
    return std::strpbrk(mode, "wa+") != nullptr;
}

} // namespace

#pragma GCC visibility push(default)
extern "C" {

// Names that the system's headers have a use for themselves.
ssize_t faulty_read(int descriptor, void* data, size_t size) __asm__("read");
off_t faulty_lseek(int descriptor, off_t offset, int whence) noexcept __asm__("lseek");
off64_t faulty_lseek64(int descriptor, off64_t offset, int whence) noexcept __asm__("lseek64");
int faulty_open(const char* name, int flags, ...) __asm__("open");
int faulty_flock(int descriptor, int operation) noexcept __asm__("flock");

ssize_t faulty_read(int descriptor, void* data, size_t size) {
    static auto* const next = next_function<ssize_t(int, void*, size_t)>("read");
    if (is_file(descriptor) && fails(true, false)) {
        return ends() ? 0 : -1;
    }
    return next(descriptor, data, size);
}

// Seeks are among the calls that read: they tell how long a file is.
off_t faulty_lseek(int descriptor, off_t offset, int whence) noexcept {
    static auto* const next = next_function<off_t(int, off_t, int)>("lseek");
    return is_file(descriptor) && fails(true, false) && !ends() ? -1 : next(descriptor, offset, whence);
}

off64_t faulty_lseek64(int descriptor, off64_t offset, int whence) noexcept {
    static auto* const next = next_function<off64_t(int, off64_t, int)>("lseek64");
    return is_file(descriptor) && fails(true, false) && !ends() ? -1 : next(descriptor, offset, whence);
}

ssize_t write(int descriptor, const void* data, size_t size) {
    static auto* const next = next_function<ssize_t(int, const void*, size_t)>("write");
    return is_file(descriptor) && fails(false, true) ? -1 : next(descriptor, data, size);
}

ssize_t writev(int descriptor, const iovec* parts, int count) {
    static auto* const next = next_function<ssize_t(int, const iovec*, int)>("writev");
    return is_file(descriptor) && fails(false, true) ? -1 : next(descriptor, parts, count);
}

FILE* fopen(const char* name, const char* mode) {
    static auto* const next = next_function<FILE*(const char*, const char*)>("fopen");
    const bool change = opens_for_change(mode);
    return fails(!change, change) ? nullptr : next(name, mode);
}

FILE* fopen64(const char* name, const char* mode) {
    static auto* const next = next_function<FILE*(const char*, const char*)>("fopen64");
    const bool change = opens_for_change(mode);
    return fails(!change, change) ? nullptr : next(name, mode);
}

int faulty_open(const char* name, int flags, ...) {
    static auto* const next = next_function<int(const char*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const bool change = (flags & (O_CREAT | O_TRUNC)) != 0;
    return fails(!change, change) ? -1 : next(name, flags, mode);
}

char* mkdtemp(char* pattern) {
    static auto* const next = next_function<char*(char*)>("mkdtemp");
    return fails(false, true) ? nullptr : next(pattern);
}

int symlink(const char* target, const char* name) {
    static auto* const next = next_function<int(const char*, const char*)>("symlink");
    return fails(false, true) ? -1 : next(target, name);
}

int link(const char* from, const char* to) {
    static auto* const next = next_function<int(const char*, const char*)>("link");
    return fails(false, true) ? -1 : next(from, to);
}

int rename(const char* from, const char* to) {
    static auto* const next = next_function<int(const char*, const char*)>("rename");
    return fails(false, true) ? -1 : next(from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned int flags) {
    static auto* const next = next_function<int(int, const char*, int, const char*, unsigned int)>("renameat2");
    return fails(false, true) ? -1 : next(fromFolder, from, toFolder, to, flags);
}

int fsync(int descriptor) {
    static auto* const next = next_function<int(int)>("fsync");
    return fails(false, true) ? -1 : next(descriptor);
}

int faulty_flock(int descriptor, int operation) noexcept {
    static auto* const next = next_function<int(int, int)>("flock");
    return fails(false, false) ? -1 : next(descriptor, operation);
}

int remove(const char* name) noexcept {
    static auto* const next = next_function<int(const char*)>("remove");
    return fails(false, false) ? -1 : next(name);
}

int unlink(const char* name) noexcept {
    static auto* const next = next_function<int(const char*)>("unlink");
    return fails(false, false) ? -1 : next(name);
}

int unlinkat(int folder, const char* name, int flags) noexcept {
    static auto* const next = next_function<int(int, const char*, int)>("unlinkat");
    return fails(false, false) ? -1 : next(folder, name, flags);
}

int rmdir(const char* name) noexcept {
    static auto* const next = next_function<int(const char*)>("rmdir");
    return fails(false, false) ? -1 : next(name);
}

} // extern "C"
#pragma GCC visibility pop
