#pragma once

#include <cstddef>

/// Watches the malloc and calloc calls of this program's own code while an instance lives, and lets one fail.
class AllocationProbe {
public:
    static constexpr int never = -1;

    /// @param failing  index, from 0, of the call that gets null; `never`: none.
    explicit AllocationProbe(int failing = never);
    ~AllocationProbe();
    AllocationProbe(const AllocationProbe&) = delete;
    AllocationProbe& operator=(const AllocationProbe&) = delete;

    int calls() const;
    std::size_t largest() const; ///< bytes of the largest request
};
