#pragma once
/// A vector for millions of numbers that live for a moment. The host gives its memory in large pages where it has them,
/// and elements of a plain type that nobody sets hold anything. It is aligned for any type of the language.

#include <cstddef>
#include <cstdlib>
#include <new>
#include <sys/mman.h>
#include <utility>
#include <vector>

namespace vi {

template <class T> struct LargeAllocator {
    using value_type = T;

    LargeAllocator() = default;
    template <class U> explicit LargeAllocator(const LargeAllocator<U>&) {}

    T* allocate(size_t count) {
        constexpr size_t page = 2 << 20;
        const size_t bytes = count * sizeof(T);
        const bool large = bytes >= page;
        void* const memory = large ? aligned_alloc(page, (bytes + page - 1) / page * page) : malloc(bytes);
        if (memory == nullptr)
            throw std::bad_alloc();
        if (large)
            madvise(memory, bytes, MADV_HUGEPAGE); // without such pages it is an ordinary piece of memory
        return static_cast<T*>(memory);
    }
    void deallocate(T* memory, size_t) { free(memory); }

    template <class U> void construct(U* element) { ::new (static_cast<void*>(element)) U; }
    template <class U, class... From> void construct(U* element, From&&... from) {
        ::new (static_cast<void*>(element)) U(std::forward<From>(from)...);
    }

    friend bool operator==(const LargeAllocator&, const LargeAllocator&) { return true; }
};

template <class T> using LargeVector = std::vector<T, LargeAllocator<T>>;

} // namespace vi
