#include "aio_ostream.h"

aio_ostream aio_cout(stdout);

void aio_ostream::print(const char* text) {
    if (text != nullptr) {
        std::fputs(text, m_stream);
    }
}

void aio_ostream::print_int(int number) {
    std::fprintf(m_stream, "%d", number);
}

void aio_ostream::put(char character) {
    std::fputc(character, m_stream);
}

void aio_ostream::flush() {
    std::fflush(m_stream);
}
