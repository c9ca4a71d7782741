#pragma once

#include <functional>

/// Counts the seeks of this program's streams while an instance lives, and lets one fail, or something happen at it.
class SeekProbe {
public:
    /// @param failing  index, from 0, of the seek that fails with EIO.
    explicit SeekProbe(int failing);
    /// @param at       index of the seek before which `happening` is called; the seek itself is done.
    SeekProbe(int at, std::function<void()> happening);
    ~SeekProbe();
    SeekProbe(const SeekProbe&) = delete;
    SeekProbe& operator=(const SeekProbe&) = delete;

    int calls() const;
};
