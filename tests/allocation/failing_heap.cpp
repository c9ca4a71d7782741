#include "tests/allocation/failing_heap.h"

#include <cstdlib>
#include <new>

#define EVERYWHERE __attribute__((visibility("default")))

// What serves requests: the address sanitizer where it is linked, else the C library.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void __libc_free(void*);
__attribute__((weak)) void* __interceptor_malloc(std::size_t);
__attribute__((weak)) void* __interceptor_calloc(std::size_t, std::size_t);
__attribute__((weak)) void* __interceptor_realloc(void*, std::size_t);
__attribute__((weak)) void __interceptor_free(void*);
}

namespace {

bool watching = false;
int requests = 0;
failing_heap::Plan refused;
long live = 0;

bool is_refused() {
    if (!watching) {
        return false;
    }
    const int index = requests++;
    return refused.first >= 0 && (index == refused.first || (refused.thoseAfter && index > refused.first));
}

void* counted(void* block) {
    live += block != nullptr ? 1 : 0;
    return block;
}

void* new_block(std::size_t bytes) {
    void* block = std::malloc(bytes == 0 ? 1 : bytes);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

} // namespace

namespace failing_heap {

void start(const Plan& plan) {
    refused = plan;
    requests = 0;
    watching = true;
}
int stop() {
    watching = false;
    return requests;
}
long live_blocks() {
    return live;
}
Pause::Pause() : before(watching) {
    watching = false;
}
Pause::~Pause() {
    watching = before;
}

} // namespace failing_heap

extern "C" {

EVERYWHERE void* malloc(std::size_t bytes) {
    if (is_refused()) {
        return nullptr;
    }
    return counted(__interceptor_malloc != nullptr ? __interceptor_malloc(bytes) : __libc_malloc(bytes));
}

EVERYWHERE void* calloc(std::size_t count, std::size_t size) {
    if (is_refused()) {
        return nullptr;
    }
    return counted(__interceptor_calloc != nullptr ? __interceptor_calloc(count, size) : __libc_calloc(count, size));
}

EVERYWHERE void* realloc(void* block, std::size_t bytes) {
    if (is_refused()) {
        return nullptr;
    }
    void* moved = __interceptor_realloc != nullptr ? __interceptor_realloc(block, bytes) : __libc_realloc(block, bytes);
    live += block == nullptr && moved != nullptr ? 1 : 0;
    return moved;
}

EVERYWHERE void free(void* block) {
    live -= block != nullptr ? 1 : 0;
    if (__interceptor_free != nullptr) {
        __interceptor_free(block);
    } else {
        __libc_free(block);
    }
}
}

EVERYWHERE void* operator new(std::size_t bytes) {
    return new_block(bytes);
}
EVERYWHERE void* operator new[](std::size_t bytes) {
    return new_block(bytes);
}
EVERYWHERE void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return std::malloc(bytes == 0 ? 1 : bytes);
}
EVERYWHERE void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return std::malloc(bytes == 0 ? 1 : bytes);
}
EVERYWHERE void operator delete(void* block) noexcept {
    std::free(block);
}
EVERYWHERE void operator delete[](void* block) noexcept {
    std::free(block);
}
EVERYWHERE void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
EVERYWHERE void operator delete[](void* block, std::size_t) noexcept {
    std::free(block);
}
EVERYWHERE void operator delete(void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
EVERYWHERE void operator delete[](void* block, const std::nothrow_t&) noexcept {
    std::free(block);
}
