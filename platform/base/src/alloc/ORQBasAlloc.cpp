#include "ORQBasAlloc.h"

#include <cstdlib>
#include <new>

void* mem_OperatorNewThrow(std::size_t size) {
    void* const memory = mem_Malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* mem_OperatorNewTinyThrow(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void* mem_OperatorNewThrowBuiltin(std::size_t size) {
    return mem_OperatorNewThrow(size);
}

void* mem_Malloc(std::size_t size) {
    return std::malloc(size != 0 ? size : 1);
}

void mem_Free(void* memory) {
    std::free(memory);
}
