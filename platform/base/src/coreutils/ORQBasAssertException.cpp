#include "ORQBasAssertException.h"

#include "atr_translate.h"

ORQBasAssertException::~ORQBasAssertException() = default;

atr_String ORQBasAssertException::AsString(ORQBasStringMode mode) {
    return atr_translate("%1", mode).atr_SubstituteFormat({m_message.UTF8()}).Result();
}

void ORQBasAssertException::Propagate() const {
    throw *this;
}

ORQBasAssertException* ORQBasAssertException::Clone() const {
    return new ORQBasAssertException(*this);
}

int ORQBasAssertException::GetCode() const {
    return s_code;
}

void ORQBasThrowIndexOutOfRange(std::int64_t index, std::int64_t size, const char* file, int line) {
    const atr_String message =
        atr_translate("index %1 is outside [0, %2)", ORQBasStringMode::Unicode)
            .atr_SubstituteFormat({std::to_string(index), std::to_string(size)})
            .Result();
    ORQBasAssertException(message.c_str()).Throw(file, line);
}
