#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

/// What all fuzz targets share: a folder of their own, into which inputs are written as files.
namespace fuzz {

/// The folder, under TMPDIR. No file that the target writes grows beyond 16 MB: headers may promise any size.
inline const std::string& scratch_folder() {
    static const std::string folder = [] {
        const char* base = std::getenv("TMPDIR");
        std::string name = std::string(base != nullptr ? base : "/tmp") + "/oridan_fuzz_XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            std::perror(name.c_str());
            std::abort();
        }
        const rlimit limit{16U << 20, 16U << 20};
        setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN);
        return name;
    }();
    return folder;
}

/// Writes a file into the scratch folder. @return its path.
inline std::string write_scratch(const char* name, std::string_view bytes) {
    const std::string path = scratch_folder() + "/" + name;
    const int file = open(path.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
    if (file < 0 || write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        std::perror(path.c_str());
        std::abort();
    }
    close(file);
    return path;
}

/// Ends the target with a report where a promise was broken.
inline void require(bool kept, const char* promise) {
    if (!kept) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

} // namespace fuzz
