#pragma once

#include "numerics/arrays.h"

/// Found before the library's header of this name in the program that tests the quicksorts' overflow: a stack for one
/// pending part.
class SortStack {
public:
    explicit SortStack(const char* overflowMessage) : message(overflowMessage) {}

    bool empty() const { return !used; }
    void push(long first, long last) {
        if (used) {
            nrerror(message);
        }
        used = true;
        pendingFirst = first;
        pendingLast = last;
    }
    void pop(long& first, long& last) {
        used = false;
        first = pendingFirst;
        last = pendingLast;
    }

private:
    const char* message;
    bool used = false;
    long pendingFirst = 0;
    long pendingLast = 0;
};
