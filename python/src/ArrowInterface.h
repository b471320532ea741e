/// The structures of the Arrow C data interface and of its stream interface, field by field as its
/// specification publishes them, so that no library of Arrow is needed.
/// https://arrow.apache.org/docs/format/CDataInterface.html and CStreamInterface.html
#pragma once

#include <cstdint>

namespace orqmodel {

/// The type of an array. Whoever holds one calls `release`, once; a released one has null there.
struct ArrowSchema {
    const char* format;
    const char* name;
    const char* metadata;
    std::int64_t flags;
    std::int64_t nChildren;
    ArrowSchema** children;
    ArrowSchema* dictionary;
    void (*release)(ArrowSchema*);
    void* privateData;
};

inline constexpr std::int64_t kArrowNullable = 2;

/// The values of a schema. A child may be moved out of its parent, and then outlives it.
struct ArrowArray {
    std::int64_t length;
    std::int64_t nullCount;
    std::int64_t offset;
    std::int64_t nBuffers;
    std::int64_t nChildren;
    const void** buffers;
    ArrowArray** children;
    ArrowArray* dictionary;
    void (*release)(ArrowArray*);
    void* privateData;
};

/// Arrays of one type behind each other; the end is a released array. Errors are numbers of errno.h.
struct ArrowArrayStream {
    int (*getSchema)(ArrowArrayStream*, ArrowSchema* out);
    int (*getNext)(ArrowArrayStream*, ArrowArray* out);
    const char* (*getLastError)(ArrowArrayStream*);
    void (*release)(ArrowArrayStream*);
    void* privateData;
};

}  // namespace orqmodel
