// Memory that runs out.
//
// The program that links Memory.cpp takes memory for itself and for every library in it, SQLite
// included, by functions that count, and that fail when they are told to.
#pragma once

#include <cstddef>
#include <cstdint>

// Counts what asks for memory while it lives, and lets some of it fail. One at a time.
class MemoryWatch {
  public:
    MemoryWatch();
    ~MemoryWatch();
    MemoryWatch(const MemoryWatch&) = delete;
    MemoryWatch& operator=(const MemoryWatch&) = delete;

    // From request `first` on `count` of them fail.
    void Fail(std::size_t first, std::size_t count);
    std::size_t Requests() const;
    // The most bytes that were in use at a time beyond those at the beginning.
    std::int64_t PeakBytes() const;
};
