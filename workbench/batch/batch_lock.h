#pragma once

#include <filesystem>

namespace workbench {

/// Keeps two batches from working in the same results folder. The lock goes with the last process that holds it, so
/// nothing is left locked by a process that was killed.
class BatchLock {
public:
    enum class Kind {
        whole,  ///< the whole folder
        shared, ///< one job of it: others may work on other jobs meanwhile, a whole batch not
        job     ///< this job: waits for whoever is at it, who may well finish it
    };

    /// Throws InputError when another batch holds the folder. Waits for what is left of a batch that was just killed.
    BatchLock(const std::filesystem::path& lockFile, Kind kind);
    ~BatchLock();
    BatchLock(const BatchLock&) = delete;
    BatchLock& operator=(const BatchLock&) = delete;

    /// To be held by a program that this process is about to turn into, too.
    void keep_over_exec() const;

private:
    int descriptor_ = -1;
};

} // namespace workbench
