#include "ORQBasFailure.h"

#include <cerrno>
#include <cstring>
#include <utility>

ORQBasFailure::ORQBasFailure(ORQBasFailureKind kind, std::string text, const char* file, int line)
    : ORQBasException(file, line), m_kind(kind), m_text(std::move(text)) {}

atr_String ORQBasFailure::AsString(ORQBasStringMode) {
    return atr_String(m_text.c_str());
}

void ORQBasFailure::Propagate() const {
    throw *this;
}

ORQBasException* ORQBasFailure::Clone() const {
    return new ORQBasFailure(*this);
}

int ORQBasFailure::GetCode() const {
    return static_cast<int>(m_kind);
}

void ORQBasThrowUsage(const std::string& text, const char* file, int line) {
    throw ORQBasFailure(ORQBasFailureKind::Usage, text, file, line);
}

void ORQBasThrowSystemFailure(const std::string& path, const std::string& doing, const char* file,
                              int line) {
    const int error = errno;
    throw ORQBasFailure(ORQBasFailureKind::Io,
                        path + ": cannot " + doing + ": " + std::strerror(error), file, line);
}
