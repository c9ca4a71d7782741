#include "fileio/paths.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

namespace fileio {

std::optional<FileIdentity> regular_file(const char* path) {
    struct stat file {};
    if (stat(path, &file) != 0 || !S_ISREG(file.st_mode)) {
        return std::nullopt;
    }
    return FileIdentity{file.st_dev, file.st_ino};
}

bool is_regular_file(const char* path) {
    return regular_file(path).has_value();
}

bool is_pipe(const char* path) {
    struct stat file {};
    return stat(path, &file) == 0 && S_ISFIFO(file.st_mode);
}

bool set_length(const char* path, unsigned long long length) {
    return truncate(path, static_cast<off_t>(length)) == 0;
}

void remove_incomplete(const char* path) {
    char file[PATH_MAX];
    if (realpath(path, file) != nullptr && is_regular_file(file)) {
        std::remove(file);
    }
}

} // namespace fileio
