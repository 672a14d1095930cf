// Counts every allocation of the test program that includes it, so that a
// test can show that a hot path leaves the heap alone.  The replacement
// allocation functions may be defined only once per program: include this
// header in exactly one source file of a test program.
#ifndef TESTS_SUPPORT_ALLOCATIONCOUNTER_H
#define TESTS_SUPPORT_ALLOCATIONCOUNTER_H

#include <atomic>
#include <cstdlib>
#include <new>

std::atomic<long> g_nAllocations{0};  //!< allocations since the program started

void* operator new(std::size_t n)
{
    ++g_nAllocations;
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
// The nothrow forms too (the standard library's temporary buffers use them),
// so that every allocation and release goes through malloc and free alike.
void* operator new(std::size_t n, const std::nothrow_t&) noexcept
{
    ++g_nAllocations;
    return std::malloc(n ? n : 1);
}
void* operator new[](std::size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

#endif
