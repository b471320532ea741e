#pragma once

#include <cstdint>

#include "ORQBasExport.h"
#include "ORQBasStringMode.h"
#include "atr_String.h"

/// Base of everything that the platform throws.
///
/// An exception is a value: it is thrown by copy through Throw() or Propagate(), which keep its
/// dynamic type, and caught by reference. File names are pointers to constant texts that outlive
/// every exception.
class ORQ_EXPORT ORQBasException {
  public:
    virtual ~ORQBasException();

    /// What happened and where in the source. The three reports are not const, as the slots of the
    /// platform are; they change nothing that another report shows. So catch by plain reference.
    virtual atr_String DeveloperReport(ORQBasStringMode mode);
    /// What happened, without the place.
    virtual atr_String UserReport(ORQBasStringMode mode);
    /// The message alone.
    virtual atr_String AsString(ORQBasStringMode mode) = 0;
    /// Throws a copy of the object, of its dynamic type.
    [[noreturn]] virtual void Propagate() const = 0;
    /// A copy that the caller deletes; null when the class offers none.
    virtual ORQBasException* Clone() const;
    /// Distinguishes the classes of failure; each class documents its own.
    virtual int GetCode() const = 0;

    /// Records the place and throws a copy of the object, of its dynamic type.
    [[noreturn]] void Throw(const char* file, int line);

    /// Null when no place is known.
    const char* GetFile() const { return m_file; }
    /// 0 when no place is known.
    int GetLine() const { return m_line; }

  protected:
    explicit ORQBasException(const char* file = nullptr, int line = 0)
        : m_file(file), m_line(line) {}
    ORQBasException(const ORQBasException&) = default;
    ORQBasException& operator=(const ORQBasException&) = default;

  private:
    const char* m_file;
    std::int32_t m_line;
};
