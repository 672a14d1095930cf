// An allocator that keeps the blocks it is given back, for the short-lived
// vectors of the expression parser.
//
// Reading one FUNCTION builds and drops a few dozen small vectors (a sum per
// number, name and product); taken from the heap, they cost a fifth of
// reading a large file and scatter the kernel's long-lived records between
// freed blocks.  Blocks here come in powers of two of elements, up to 64, and
// a freed block waits in its thread's list for the next vector of its size;
// larger requests go to the heap.  The lists only ever hold as many blocks as
// were alive at once, and are released when the thread ends.
#ifndef TDB_RECYCLEDBLOCKS_H
#define TDB_RECYCLEDBLOCKS_H

#include <cstddef>
#include <new>
#include <vector>

namespace tdb {

template <class T>
class RecycledBlocks
{
public:
    using value_type = T;

    RecycledBlocks() = default;
    template <class U>
    RecycledBlocks(const RecycledBlocks<U>&) noexcept
    {
    }

    T* allocate(size_t n)
    {
        const int k = sizeClass(n);
        if (k < 0) return static_cast<T*>(::operator new(n * sizeof(T)));
        std::vector<void*>& list = freeLists()[k];
        if (!list.empty()) {
            void* p = list.back();
            list.pop_back();
            return static_cast<T*>(p);
        }
        return static_cast<T*>(::operator new((size_t{1} << k) * sizeof(T)));
    }

    void deallocate(T* p, size_t n) noexcept
    {
        const int k = sizeClass(n);
        if (k < 0) {
            ::operator delete(p);
            return;
        }
        try {
            freeLists()[k].push_back(p);
        } catch (const std::bad_alloc&) {
            ::operator delete(p);
        }
    }

    template <class U>
    bool operator==(const RecycledBlocks<U>&) const noexcept
    {
        return true;
    }
    template <class U>
    bool operator!=(const RecycledBlocks<U>&) const noexcept
    {
        return false;
    }

private:
    static constexpr int kClasses = 7;  // 1, 2, 4, ... 64 elements

    // The class of a block of n elements (the least power of two holding them), or -1.
    static int sizeClass(size_t n)
    {
        int k = 0;
        while (k < kClasses && (size_t{1} << k) < n) ++k;
        return k < kClasses ? k : -1;
    }

    struct Lists
    {
        std::vector<void*> byClass[kClasses];
        ~Lists()
        {
            for (auto& list : byClass)
                for (void* p : list) ::operator delete(p);
        }
    };
    static std::vector<void*>* freeLists()
    {
        thread_local Lists lists;
        return lists.byClass;
    }
};

}  // namespace tdb

#endif
