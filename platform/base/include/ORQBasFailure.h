/// The exception for what goes wrong outside the program: files, disks, damaged data, input that
/// breaks a rule of an interface. "Not there" is an answer and never thrown; a broken invariant is
/// an assertion. docs/failures.md says which to choose when.
#pragma once

#include <exception>
#include <string>

#include "ORQBasException.h"
#include "ORQBasExport.h"

/// What a host can do about a failure. The numbers are given to hosts, do not change.
/// - Usage: the caller broke a rule of the interface: no transaction, a member outside the space, a
///   closed database. The same call fails again.
/// - Io: the operating system refused: missing file, permission, disk full.
/// - Damaged: stored bytes or rows are not what was written.
/// - Foreign: intact, but not ours to read: another format, a newer version, the file of another
///   database.
/// - Busy: another process or handle holds what is needed; the same call may work later.
/// - Refused: this handle cannot go on: an earlier failure left it in doubt, or this process was
///   forked from the one that opened it. The text says what helps: undo the transaction, refresh
///   the handle, or open the database again.
enum class ORQBasFailureKind : int {
    Usage = 1,
    Io = 2,
    Damaged = 3,
    Foreign = 4,
    Busy = 5,
    Refused = 6
};

/// One failure: its kind and its text. Also a std::exception, so that a host's last resort reports
/// the text.
///
/// A value that owns its text; copies are independent. Making or copying one allocates, so where
/// memory has run out std::bad_alloc takes its place. What a failed call leaves behind is said
/// where the call is declared: mostly nothing was changed, or the open transaction can only be
/// undone. Catch by plain reference: the reports of the base class are not const.
class ORQ_EXPORT ORQBasFailure : public ORQBasException, public std::exception {
  public:
    /// The text is one sentence without a line break: the path of the database or file, the place in
    /// it, the offending value. The place in the source is the caller's; `file` must outlive every
    /// copy, as __FILE__ does.
    ORQBasFailure(ORQBasFailureKind kind, std::string text, const char* file = __builtin_FILE(),
                  int line = __builtin_LINE());

    [[nodiscard]] ORQBasFailureKind Kind() const { return m_kind; }
    /// The whole message, UTF-8. Valid as long as this exception.
    [[nodiscard]] const std::string& Text() const { return m_text; }
    /// The bytes of Text(), valid as long.
    [[nodiscard]] const char* what() const noexcept override { return m_text.c_str(); }

    atr_String AsString(ORQBasStringMode mode) override;
    [[noreturn]] void Propagate() const override;
    ORQBasException* Clone() const override;
    /// The number of Kind().
    int GetCode() const override;

  private:
    ORQBasFailureKind m_kind;
    std::string m_text;
};

/// Throws a failure of kind Usage.
[[noreturn]] ORQ_EXPORT void ORQBasThrowUsage(const std::string& text,
                                              const char* file = __builtin_FILE(),
                                              int line = __builtin_LINE());

/// Throws what the system said last (errno): "PATH: cannot DOING: No space left on device", of kind
/// Io.
[[noreturn]] ORQ_EXPORT void ORQBasThrowSystemFailure(const std::string& path,
                                                      const std::string& doing,
                                                      const char* file = __builtin_FILE(),
                                                      int line = __builtin_LINE());
