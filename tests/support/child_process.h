#pragma once

#include <csignal>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

/// Runs `body` in a forked child and returns the code that it returned, or 1000 + the signal that ended it. A body
/// that hangs is ended by SIGALRM. For limits and blocking calls that must not touch the test program itself.
template <class Body>
int in_child(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(body());
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

/// Sets a soft limit of the calling process. @return success.
inline bool limit(__rlimit_resource resource, rlim_t value) {
    rlimit limits{};
    if (getrlimit(resource, &limits) != 0) {
        return false;
    }
    limits.rlim_cur = value;
    return setrlimit(resource, &limits) == 0;
}

} // namespace support
