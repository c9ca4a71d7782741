#include "workbench/batch/batch_lock.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "workbench/input_error.h"
#include "workbench/pending_file.h"

namespace workbench {

namespace {

constexpr auto longestWait = std::chrono::seconds(10);

std::string this_host() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

std::string holder_of(int descriptor) {
    std::array<char, 300> text{};
    const ssize_t n = pread(descriptor, text.data(), text.size() - 1, 0);
    return n > 0 ? std::string(text.data(), static_cast<std::size_t>(n)) : "";
}

// The process that took the lock is gone, so that its children, which hold it with it, are about to go.
bool holder_was_killed(const std::string& holder) {
    long process = 0;
    std::array<char, 256> host{};
    return std::sscanf(holder.c_str(), "process %ld on %255s", &process, host.data()) == 2 &&
           this_host() == host.data() && kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH;
}

} // namespace

BatchLock::BatchLock(const std::filesystem::path& lockFile, Kind kind) {
    const std::filesystem::path folder = folder_of(folder_of(lockFile));
    descriptor_ = open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (descriptor_ < 0) {
        throw InputError(folder.string() + ": cannot be written (" + std::strerror(errno) +
                         "); choose another folder with -o");
    }
    const int operation = kind == Kind::job ? LOCK_EX : (kind == Kind::whole ? LOCK_EX : LOCK_SH) | LOCK_NB;
    const auto start = std::chrono::steady_clock::now();
    while (flock(descriptor_, operation) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            std::cerr << "workbench: note: " << folder.string() << ": files cannot be locked there ("
                      << std::strerror(errno) << "); start no second batch on it\n";
            return;
        }
        const std::string holder = holder_of(descriptor_);
        if (!holder_was_killed(holder) || std::chrono::steady_clock::now() - start > longestWait) {
            close(descriptor_);
            throw InputError(folder.string() + ": another batch is at work there" +
                             (holder.empty() ? "" : " (" + holder + ")") +
                             "; wait for its end, or choose another folder with -o");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (kind == Kind::whole) {
        const std::string holder = "process " + std::to_string(getpid()) + " on " + this_host();
        // What a message tells; without it the lock holds all the same.
        if (ftruncate(descriptor_, 0) != 0 || pwrite(descriptor_, holder.data(), holder.size(), 0) < 0) {
            return;
        }
    }
}

BatchLock::~BatchLock() {
    if (descriptor_ >= 0) {
        if (ftruncate(descriptor_, 0) != 0) {
            // The next holder writes its own name over it.
        }
        close(descriptor_);
    }
}

void BatchLock::keep_over_exec() const {
    fcntl(descriptor_, F_SETFD, 0);
}

} // namespace workbench
