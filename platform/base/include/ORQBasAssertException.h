#pragma once

#include <cstdint>

#include "ORQBasException.h"
#include "ORQString.h"

/// A broken invariant or precondition that the caller may catch. The message is the failed
/// expression as it stands in the source, or a sentence with the offending values.
class ORQ_EXPORT ORQBasAssertException : public ORQBasException {
  public:
    /// The code of every assertion.
    static constexpr int s_code = 1;

    /// The place is this header until Throw() records another.
    /// Null gives the empty message.
    explicit ORQBasAssertException(const char* expression)
        : ORQBasException("platform/base/include/ORQBasAssertException.h", __LINE__),
          m_message(expression) {}
    ~ORQBasAssertException() override;

    atr_String AsString(ORQBasStringMode mode) override;
    [[noreturn]] void Propagate() const override;
    ORQBasAssertException* Clone() const override;
    int GetCode() const override;

  private:
    ORQString m_message;
};

/// Throws an ORQBasAssertException that names the index and the valid range [0, size).
[[noreturn]] ORQ_EXPORT void ORQBasThrowIndexOutOfRange(std::int64_t index, std::int64_t size,
                                                        const char* file, int line);
