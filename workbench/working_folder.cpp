#include "workbench/working_folder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "workbench/input_error.h"

namespace workbench {

namespace {

namespace fs = std::filesystem;

constexpr const char* prefix = ".workbench-";
constexpr std::size_t randomCharacters = 6; // that mkdtemp appends
constexpr const char* ownerName = "owner";  // locked by the run; holds its machine's name and that of its trial file

std::string this_host() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

[[noreturn]] void refuse(const fs::path& parent, int error) {
    throw InputError("cannot write in the folder " + parent.string() + " (" + std::strerror(error) +
                     "); choose another place for the result with -o");
}

bool write_whole(int descriptor, const std::string& text) {
    return write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// Where the file system knows no locks the folder has none, and nobody takes it for left: that takes a lock.
enum class Lock { taken, taken_by_another, unknown };

Lock try_to_lock(int descriptor) {
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        return Lock::taken;
    }
    return errno == EWOULDBLOCK ? Lock::taken_by_another : Lock::unknown;
}

bool was_removed(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) != 0 || status.st_nlink == 0;
}

// Of this user, with a name as WorkingFolder gives them, and no link to a folder elsewhere.
bool is_working_folder(const fs::path& path) {
    const std::string name = path.filename().string();
    struct stat status {};
    return name.starts_with(prefix) && name.size() == std::strlen(prefix) + randomCharacters &&
           lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == geteuid();
}

struct Owner {
    std::string host;
    std::string trials;
};

Owner read_owner(const fs::path& folder) {
    std::ifstream file(folder / ownerName, std::ios::binary);
    Owner owner;
    std::getline(file, owner.host);
    owner.trials.assign(std::istreambuf_iterator<char>(file), {}); // the rest: a name may have several lines
    return owner;
}

fs::path own_trials(const fs::path& folder) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().extension() == ".trl" && entry.path().filename() != replacedName) {
            return entry.path();
        }
    }
    return {};
}

// The cleaned recording is moved last: while it is in the folder, the trial file beside it belongs to nothing.
void take_back_trials(const fs::path& folder, const std::string& name) {
    std::error_code error;
    if (name.empty() || name.find('/') != std::string::npos || !fs::exists(folder / cleanedName, error)) {
        return;
    }
    const fs::path placed = folder.parent_path() / name;
    const fs::path replaced = folder / replacedName;
    const fs::path own = own_trials(folder);
    const bool isOwn = !own.empty() && fs::equivalent(own, placed, error);
    const bool isFree = fs::symlink_status(placed, error).type() == fs::file_type::not_found;
    if ((isOwn || isFree) && fs::exists(replaced, error)) {
        fs::rename(replaced, placed, error);
    } else if (isOwn) {
        fs::remove(placed, error);
    }
}

// The owner's file goes last: a folder without it could not be told from a stranger's.
void remove_folder(const fs::path& folder, std::error_code& error) {
    std::vector<fs::path> inside;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        if (entry.path().filename() != ownerName) {
            inside.push_back(entry.path());
        }
    }
    for (std::size_t i = 0; !error && i < inside.size(); ++i) {
        fs::remove_all(inside[i], error);
    }
    for (const fs::path& last : {folder / ownerName, folder}) {
        if (!error) {
            fs::remove(last, error);
        }
    }
}

std::string remove_left(const fs::path& folder) {
    std::error_code error;
    remove_folder(folder, error);
    return error ? "a killed run left " + folder.string() + ", which cannot be removed (" + error.message() + ")"
                 : "removed " + folder.string() + ", which a killed run had left";
}

// What there is to say; nothing where a run is at work.
std::string clear_leftover(const fs::path& folder) {
    const int lock = open((folder / ownerName).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (lock < 0) {
        std::error_code error;
        if (fs::remove(folder, error)) { // where it was killed in its first moment, the folder is empty
            return "";
        }
        return fs::exists(folder, error) ? folder.string() + " looks like what a killed run leaves; delete it if no "
                                                             "run is at work"
                                         : "";
    }
    std::string said;
    const Lock state = try_to_lock(lock);
    const Owner owner = read_owner(folder);
    if (state == Lock::taken && !was_removed(lock)) {
        // Locks may be unknown to other machines. A run that was killed before it noted its own has nothing there.
        if (owner.host == this_host() || owner.host.empty()) {
            take_back_trials(folder, owner.trials);
            said = remove_left(folder);
        } else {
            said = folder.string() + " was left by a killed run on the machine " + owner.host +
                   ", or one is at work there; if none is, delete it";
        }
    }
    close(lock);
    return said;
}

} // namespace

WorkingFolder::WorkingFolder(const fs::path& parent, const std::string& trials) {
    // Between its making and its locking another run may take the folder for one that was left, and remove it.
    for (int attempt = 0; lock_ < 0 && attempt < 100; ++attempt) {
        std::string pattern = (parent / (prefix + std::string(randomCharacters, 'X'))).string();
        if (mkdtemp(pattern.data()) == nullptr) {
            refuse(parent, errno);
        }
        folder_ = pattern;
        lock_ = open((folder_ / ownerName).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        const int error = errno;
        if (lock_ < 0 && error != ENOENT) {
            rmdir(folder_.c_str());
            refuse(parent, error);
        }
        if (lock_ >= 0 && (try_to_lock(lock_) == Lock::taken_by_another || was_removed(lock_))) {
            close(lock_);
            lock_ = -1;
        }
    }
    if (lock_ < 0) {
        refuse(parent, EAGAIN);
    }
    errno = ENOSPC;
    if (!write_whole(lock_, this_host() + "\n" + trials)) {
        const int error = errno;
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
        close(lock_);
        refuse(parent, error);
    }
}

WorkingFolder::~WorkingFolder() {
    std::error_code ignored;
    remove_folder(folder_, ignored);
    close(lock_); // last: unlocked, the folder would be taken for left
}

std::vector<std::string> clear_leftovers(const fs::path& parent) {
    std::vector<fs::path> folders;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(parent, error)) {
        if (is_working_folder(entry.path())) {
            folders.push_back(entry.path());
        }
    }
    std::sort(folders.begin(), folders.end());
    std::vector<std::string> lines;
    for (const fs::path& folder : folders) {
        const std::string line = clear_leftover(folder);
        if (!line.empty()) {
            lines.push_back(line);
        }
    }
    return lines;
}

} // namespace workbench
