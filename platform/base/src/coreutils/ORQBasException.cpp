#include "ORQBasException.h"

#include <cstdlib>
#include <string>

#include "atr_translate.h"

ORQBasException::~ORQBasException() = default;

atr_String ORQBasException::DeveloperReport(ORQBasStringMode mode) {
    return atr_translate("%1 (%2:%3)", mode)
        .atr_SubstituteFormat({AsString(mode).c_str(), m_file != nullptr ? m_file : "unknown file",
                               std::to_string(m_line)})
        .Result();
}

atr_String ORQBasException::UserReport(ORQBasStringMode mode) {
    return AsString(mode);
}

ORQBasException* ORQBasException::Clone() const {
    return nullptr;
}

void ORQBasException::Throw(const char* file, int line) {
    m_file = file;
    m_line = line;
    Propagate();
    std::abort();  // an override that returns breaks its contract
}
