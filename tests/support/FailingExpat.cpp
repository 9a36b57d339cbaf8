// Stands in for Expat's own way of making a parser, so that what the parser allocates comes from the failing heap.

#include "FailingHeap.h"

#include <expat.h>

extern "C" {

XML_Parser XML_ParserCreate(const XML_Char* encoding)
{
    static const XML_Memory_Handling_Suite suite = {
        [](std::size_t size) { return tests::heap.allocate(size); },
        [](void* memory, std::size_t size) { return tests::heap.reallocate(memory, size); },
        [](void* memory) { tests::heap.release(memory); },
    };
    return XML_ParserCreate_MM(encoding, &suite, nullptr);
}

} // extern "C"
