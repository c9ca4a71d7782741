#include "workbench/pending_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <system_error>

#include "workbench/input_error.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse_taken(const fs::path& file) {
    throw InputError(file.string() + ": exists already (--overwrite replaces it)");
}

// Short, so that it is allowed wherever the final name is; beside it, so that a rename suffices.
fs::path create_temporary(const fs::path& file) {
    static unsigned int counter = 0;
    while (true) {
        const fs::path temporary =
            folder_of(file) / (".workbench-" + std::to_string(::getpid()) + "-" + std::to_string(counter++) + ".tmp");
        const int descriptor = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) {
            ::close(descriptor);
            return temporary;
        }
        if (errno != EEXIST) {
            throw InputError(file.string() + ": cannot be created (" + std::strerror(errno) + ")");
        }
    }
}

[[noreturn]] void refuse_move(const fs::path& to, int error) {
    if (error == EEXIST) {
        refuse_taken(to);
    }
    throw InputError(to.string() + ": cannot be put in its place (" + std::strerror(error) + ")");
}

} // namespace

fs::path folder_of(const fs::path& file) {
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

void require_free_name(const fs::path& file, bool overwrite) {
    if (!file.has_filename() || file.filename() == "." || file.filename() == "..") {
        throw InputError("\"" + file.string() + "\" is not the name of a file");
    }
    std::error_code error;
    if (!fs::is_directory(folder_of(file), error)) {
        throw InputError(file.string() + ": there is no folder " + folder_of(file).string());
    }
    const fs::file_status itself = fs::symlink_status(file, error);
    if (itself.type() == fs::file_type::not_found) {
        return;
    }
    if (itself.type() == fs::file_type::none) {
        throw InputError(file.string() + ": cannot be used (" + error.message() + ")");
    }
    const fs::file_status behindLinks = fs::status(file, error);
    if (fs::is_directory(behindLinks)) {
        throw InputError(file.string() + ": is a folder, not a file");
    }
    if (!fs::is_symlink(itself) && !fs::is_regular_file(itself)) {
        throw InputError(file.string() + ": is not a regular file");
    }
    if (!overwrite) {
        refuse_taken(file);
    }
}

void claim_and_rename(const fs::path& from, const fs::path& to) {
    const int descriptor = ::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        refuse_move(to, errno);
    }
    ::close(descriptor);
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        const int error = errno;
        ::unlink(to.c_str());
        refuse_move(to, error);
    }
}

void move_into_place(const fs::path& from, const fs::path& to, bool overwrite) {
    require_free_name(to, overwrite);
    if (overwrite) {
        if (std::rename(from.c_str(), to.c_str()) != 0) {
            refuse_move(to, errno);
        }
        return;
    }
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        refuse_move(to, errno);
    }
    claim_and_rename(from, to); // a file system that cannot refuse to replace by itself
}

PendingFile::PendingFile(fs::path finalPath, bool overwrite) : final_(std::move(finalPath)), overwrite_(overwrite) {
    require_free_name(final_, overwrite_);
    temporary_ = create_temporary(final_);
    errno = 0;
    stream_.open(temporary_, std::ios::binary | std::ios::in | std::ios::out);
    if (!stream_) {
        const int error = errno;
        discard();
        throw InputError(final_.string() + ": cannot be created (" + std::strerror(error) + ")");
    }
}

PendingFile::~PendingFile() {
    discard();
}

void PendingFile::discard() {
    if (!temporary_.empty()) {
        stream_.close();
        ::unlink(temporary_.c_str());
        temporary_.clear();
    }
}

// A stream forgets why a write failed. The file is lost anyway: one more write to it fails for the same reason.
std::string PendingFile::reason_of_failure() {
    stream_.clear();
    stream_.seekp(0, std::ios::end);
    const std::string probe(1 << 16, '\0');
    errno = 0;
    stream_.write(probe.data(), static_cast<std::streamsize>(probe.size()));
    stream_.flush();
    return errno == 0 ? "is the disk full?" : std::strerror(errno);
}

void PendingFile::check() {
    if (stream_) {
        return;
    }
    const std::string reason = reason_of_failure();
    discard();
    throw InputError(final_.string() + ": could not be written completely (" + reason + ")");
}

void PendingFile::commit() {
    stream_.flush();
    check();
    stream_.close();
    check();
    try {
        move_into_place(temporary_, final_, overwrite_);
    } catch (const InputError&) {
        discard();
        throw;
    }
    temporary_.clear();
}

} // namespace workbench
