#include "fileio/paths.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

#include <sys/stat.h>
#include <unistd.h>

namespace fileio {

bool is_there(const char* path) {
    struct stat file {};
    return stat(path, &file) == 0;
}

bool is_regular_file(const char* path) {
    struct stat file {};
    return stat(path, &file) == 0 && S_ISREG(file.st_mode);
}

bool is_pipe(const char* path) {
    struct stat file {};
    return stat(path, &file) == 0 && S_ISFIFO(file.st_mode);
}

bool is_same_file(const char* path, const char* other) {
    struct stat a {};
    struct stat b {};
    return stat(path, &a) == 0 && stat(other, &b) == 0 && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
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
