#pragma once

#include <cstdio>

#include "ORQBasExport.h"

/// Text output to a C stream, which the caller keeps open. A failed write is not reported.
class ORQ_EXPORT aio_ostream {
  public:
    explicit aio_ostream(std::FILE* stream) : m_stream(stream) {}

    /// Null prints nothing.
    void print(const char* text);
    /// Prints in decimal.
    void print_int(int number);
    void put(char character);
    void flush();

  private:
    std::FILE* m_stream;
};

/// Standard output. Usable in static constructors of everything that uses this library.
extern ORQ_EXPORT aio_ostream aio_cout;
