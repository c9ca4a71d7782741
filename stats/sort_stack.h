#pragma once

#include "numerics/arrays.h"

/// The quicksorts' pending parts, inside the library: first and last index of each, in a vector of 60 ints.
class SortStack {
public:
    /// @param overflowMessage  what push ends the process with when 60 entries do not suffice
    explicit SortStack(const char* overflowMessage) : message(overflowMessage), entries(ivector(1, size)) {}
    ~SortStack() { free_ivector(entries, 1, size); }
    SortStack(const SortStack&) = delete;
    SortStack& operator=(const SortStack&) = delete;

    bool empty() const { return used == 0; }
    void push(long first, long last) {
        used += 2;
        if (used > size) {
            nrerror(message);
        }
        entries[used] = static_cast<int>(last);
        entries[used - 1] = static_cast<int>(first);
    }
    void pop(long& first, long& last) {
        last = entries[used];
        first = entries[used - 1];
        used -= 2;
    }

private:
    static constexpr int size = 60;

    const char* message;
    int* entries;
    int used = 0;
};
