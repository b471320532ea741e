#pragma once

#include <cstddef>

#include "ORQBasExport.h"

/// The platform allocator. Memory from any of these is aligned for every fundamental type, may
/// have any size (0 gives a valid, unusable address), belongs to the caller and is released by
/// mem_Free().

/// Never null; throws std::bad_alloc on exhaustion.
ORQ_EXPORT void* mem_OperatorNewThrow(std::size_t size);

/// Allocates as mem_OperatorNewThrow() does, for small objects of a few words.
ORQ_EXPORT void* mem_OperatorNewTinyThrow(std::size_t size);

/// Allocates as mem_OperatorNewThrow() does, for arrays of built-in types.
ORQ_EXPORT void* mem_OperatorNewThrowBuiltin(std::size_t size);

/// Null on exhaustion.
ORQ_EXPORT void* mem_Malloc(std::size_t size);

/// Null is allowed and does nothing.
ORQ_EXPORT void mem_Free(void* memory);
