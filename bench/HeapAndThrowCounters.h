#pragma once
// Process-wide counts of heap allocations (global operator new) and of thrown
// C++ exceptions, so that a benchmark can report them per frame. The counting
// replacements live in HeapAndThrowCounters.cpp and are linked into the
// benchmark program only; they see what the shared library does too.

#include <cstdint>

namespace bench {

std::uint64_t heapAllocations();
std::uint64_t thrownExceptions();

}  // namespace bench
