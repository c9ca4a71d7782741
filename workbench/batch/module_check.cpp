#include "workbench/batch/module_check.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "workbench/input_error.h"

namespace workbench {

namespace {

[[noreturn]] void show_info(const std::string& module, int errorPipe) {
    const int nothing = open("/dev/null", O_RDWR);
    dup2(nothing, STDIN_FILENO);
    dup2(nothing, STDOUT_FILENO);
    dup2(errorPipe, STDERR_FILENO);
    execl("/proc/self/exe", "workbench", "info", module.c_str(), static_cast<char*>(nullptr));
    _exit(127);
}

} // namespace

void require_module(const std::filesystem::path& module) {
    int errorPipe[2];
    if (pipe2(errorPipe, O_CLOEXEC) != 0) {
        throw InputError(std::string("cannot start a process (") + std::strerror(errno) + ")");
    }
    const pid_t child = fork();
    if (child == 0) {
        show_info(module.string(), errorPipe[1]);
    }
    close(errorPipe[1]);
    std::string words;
    char buffer[512];
    for (ssize_t n = 0; (n = read(errorPipe[0], buffer, sizeof buffer)) > 0;) {
        words.append(buffer, static_cast<std::size_t>(n));
    }
    close(errorPipe[0]);
    int status = -1;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (status == 0) {
        return;
    }
    const std::string prefix = "workbench: ";
    words = words.substr(0, words.find('\n'));
    throw InputError(words.starts_with(prefix) ? words.substr(prefix.size())
                                               : "the module " + module.string() + " crashed when it was loaded");
}

} // namespace workbench
