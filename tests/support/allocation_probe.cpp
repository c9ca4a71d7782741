#include "tests/support/allocation_probe.h"

#include <algorithm>

namespace {

bool watching = false;
int failingCall = AllocationProbe::never;
int callCount = 0;
std::size_t largestRequest = 0;

bool may_be_served(std::size_t bytes) {
    if (!watching) {
        return true;
    }
    largestRequest = std::max(largestRequest, bytes);
    return callCount++ != failingCall;
}

} // namespace

// The linker sends every malloc and calloc of the linked objects here (--wrap).
extern "C" {
void* __real_malloc(std::size_t bytes);
void* __real_calloc(std::size_t count, std::size_t size);
void* __wrap_malloc(std::size_t bytes);
void* __wrap_calloc(std::size_t count, std::size_t size);

void* __wrap_malloc(std::size_t bytes) {
    return may_be_served(bytes) ? __real_malloc(bytes) : nullptr;
}
void* __wrap_calloc(std::size_t count, std::size_t size) {
    return may_be_served(count * size) ? __real_calloc(count, size) : nullptr;
}
}

AllocationProbe::AllocationProbe(int failing) {
    failingCall = failing;
    callCount = 0;
    largestRequest = 0;
    watching = true;
}
AllocationProbe::~AllocationProbe() {
    watching = false;
}
int AllocationProbe::calls() const {
    return callCount;
}
std::size_t AllocationProbe::largest() const {
    return largestRequest;
}
