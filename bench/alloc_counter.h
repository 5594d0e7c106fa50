#pragma once

#include <cstdint>

// Every heap allocation of the benchmark process is counted: the global operator new (all forms)
// and malloc, calloc, realloc, aligned_alloc, posix_memalign and memalign are replaced in this
// binary and forward to the C library's allocator after counting.
namespace custbench {

// Allocations since the process started.
uint64_t allocationCount();

}  // namespace custbench
