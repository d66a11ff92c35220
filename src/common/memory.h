// Heap allocation for every context, queue and node the library makes.
// Going through one place lets the tests count allocations (frame calls must
// make none) and make an allocation fail on purpose to reach the no-memory paths.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pxkit::mem {

void* allocate(std::size_t bytes);         // like malloc
void* allocate_zeroed(std::size_t bytes);  // like calloc(1, bytes)
void release(void* p);                     // like free; accepts null

// Test seams ----------------------------------------------------------------
// Number of successful allocations since the process started.
std::uint64_t allocation_count();
// Number of non-null pointers released since the process started.
std::uint64_t release_count();
// The allocation after `successes` more successful ones fails (returns null);
// a negative value switches the failure off.
void fail_allocation_after(int successes);

}  // namespace pxkit::mem
