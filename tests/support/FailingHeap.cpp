// The operators that make every allocation of the program one of the failing heap.

#include "FailingHeap.h"

void* operator new(std::size_t size)
{
    void* const memory = tests::heap.allocate(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

// By default these call the ones above, but not those of a sanitizer.
void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete(void* memory) noexcept
{
    tests::heap.release(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    tests::heap.release(memory);
}

void operator delete[](void* memory) noexcept
{
    tests::heap.release(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept
{
    tests::heap.release(memory);
}
