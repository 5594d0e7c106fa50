#include "alloc_counter.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

// glibc's own allocator entry points, which the replacements below forward to.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* pointer, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* pointer);
}

namespace custbench {

namespace {

std::atomic<uint64_t> gAllocations{0};

void countOne() { gAllocations.fetch_add(1, std::memory_order_relaxed); }

void* allocateOrThrow(size_t size) {
    void* pointer = malloc(size == 0 ? 1 : size);
    if (pointer == nullptr) throw std::bad_alloc();
    return pointer;
}

void* allocateAlignedOrThrow(size_t size, std::align_val_t alignment) {
    void* pointer = __libc_memalign(static_cast<size_t>(alignment), size == 0 ? 1 : size);
    if (pointer == nullptr) throw std::bad_alloc();
    countOne();
    return pointer;
}

}  // namespace

uint64_t allocationCount() { return gAllocations.load(std::memory_order_relaxed); }

}  // namespace custbench

// ---- The C allocator: counted, then glibc's --------------------------------------------------

extern "C" {

void* malloc(size_t size) noexcept {
    custbench::countOne();
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept {
    custbench::countOne();
    return __libc_calloc(count, size);
}

void* realloc(void* pointer, size_t size) noexcept {
    custbench::countOne();
    return __libc_realloc(pointer, size);
}

void free(void* pointer) noexcept { __libc_free(pointer); }

void* memalign(size_t alignment, size_t size) noexcept {
    custbench::countOne();
    return __libc_memalign(alignment, size);
}

void* aligned_alloc(size_t alignment, size_t size) noexcept {
    custbench::countOne();
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** result, size_t alignment, size_t size) noexcept {
    custbench::countOne();
    void* pointer = __libc_memalign(alignment, size);
    if (pointer == nullptr) return ENOMEM;
    *result = pointer;
    return 0;
}

}  // extern "C"

// ---- The C++ allocator: every form of operator new, through the counted malloc ---------------

void* operator new(size_t size) { return custbench::allocateOrThrow(size); }
void* operator new[](size_t size) { return custbench::allocateOrThrow(size); }
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return malloc(size == 0 ? 1 : size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
    return malloc(size == 0 ? 1 : size);
}
void* operator new(size_t size, std::align_val_t alignment) {
    return custbench::allocateAlignedOrThrow(size, alignment);
}
void* operator new[](size_t size, std::align_val_t alignment) {
    return custbench::allocateAlignedOrThrow(size, alignment);
}

void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return memalign(static_cast<size_t>(alignment), size == 0 ? 1 : size);
}
void* operator new[](size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return memalign(static_cast<size_t>(alignment), size == 0 ? 1 : size);
}

void operator delete(void* pointer) noexcept { free(pointer); }
void operator delete[](void* pointer) noexcept { free(pointer); }
void operator delete(void* pointer, size_t) noexcept { free(pointer); }
void operator delete[](void* pointer, size_t) noexcept { free(pointer); }
void operator delete(void* pointer, const std::nothrow_t&) noexcept { free(pointer); }
void operator delete[](void* pointer, const std::nothrow_t&) noexcept { free(pointer); }
void operator delete(void* pointer, std::align_val_t) noexcept { free(pointer); }
void operator delete[](void* pointer, std::align_val_t) noexcept { free(pointer); }
void operator delete(void* pointer, size_t, std::align_val_t) noexcept { free(pointer); }
void operator delete[](void* pointer, size_t, std::align_val_t) noexcept { free(pointer); }
void operator delete(void* pointer, std::align_val_t, const std::nothrow_t&) noexcept {
    free(pointer);
}
void operator delete[](void* pointer, std::align_val_t, const std::nothrow_t&) noexcept {
    free(pointer);
}
