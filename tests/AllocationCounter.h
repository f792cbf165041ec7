// Every allocation of the test executable that includes this goes through the counter, so that
// a test can count what a piece of code allocates: `AllocationCounter::Scope scope; ...;
// scope.count()`. Include it in exactly one file of an executable. All forms of the global
// allocation functions are replaced, so that no pair mixes this heap with the sanitizers' own.
#pragma once
#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace AllocationCounter {

inline std::atomic<bool> counting{false};
inline std::atomic<long> allocations{0};

inline void* counted(std::size_t size, std::size_t alignment = 0) noexcept {
    if (counting.load(std::memory_order_relaxed)) allocations.fetch_add(1, std::memory_order_relaxed);
    size = std::max<std::size_t>(size, 1);
    if (alignment <= alignof(std::max_align_t)) return std::malloc(size);
    return std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
}

inline void* countedOrThrow(std::size_t size, std::size_t alignment = 0) {
    if (void* p = counted(size, alignment)) return p;
    throw std::bad_alloc();
}

// Counts the allocations from its construction to count() or its end.
class Scope {
public:
    Scope() noexcept {
        allocations = 0;
        counting = true;
    }
    ~Scope() { counting = false; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    long count() noexcept {
        counting = false;
        return allocations.load();
    }
};

}  // namespace AllocationCounter

void* operator new(std::size_t size) { return AllocationCounter::countedOrThrow(size); }
void* operator new[](std::size_t size) { return AllocationCounter::countedOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return AllocationCounter::counted(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return AllocationCounter::counted(size); }
void* operator new(std::size_t size, std::align_val_t a) {
    return AllocationCounter::countedOrThrow(size, std::size_t(a));
}
void* operator new[](std::size_t size, std::align_val_t a) {
    return AllocationCounter::countedOrThrow(size, std::size_t(a));
}
void* operator new(std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
    return AllocationCounter::counted(size, std::size_t(a));
}
void* operator new[](std::size_t size, std::align_val_t a, const std::nothrow_t&) noexcept {
    return AllocationCounter::counted(size, std::size_t(a));
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept { std::free(p); }
void operator delete(void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, std::align_val_t, const std::nothrow_t&) noexcept { std::free(p); }
