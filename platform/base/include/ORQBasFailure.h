/// The exception of everything that can go wrong outside the program: files, disks, damaged data,
/// input that breaks a rule of an interface. "Not there" is an answer and never thrown; a broken
/// invariant is an assertion.
#pragma once

#include <exception>
#include <string>

#include "ORQBasException.h"
#include "ORQBasExport.h"

/// Which kind to throw:
/// - Usage: the caller broke a rule of the interface: no transaction, a member outside the space, a
///   closed database, a picture of nothing. Calling again in the same way fails again.
/// - Io: the operating system refused: missing file, permission, disk full.
/// - Damaged: stored bytes are not those that were written.
/// - Foreign: intact, but not ours to read: another format, a newer version, the file of another
///   database.
/// - Busy: another process holds what is needed; a later call may work.
/// - Refused: an earlier failure left this handle in doubt; open the database again. Nothing else
/// is
///   of this kind, so a host may reopen whenever it sees it.
enum class ORQBasFailureKind : int {
    Usage = 1,
    Io = 2,
    Damaged = 3,
    Foreign = 4,
    Busy = 5,
    Refused = 6
};

/// Also a std::exception, so that a host's last resort reports its text.
class ORQ_EXPORT ORQBasFailure : public ORQBasException, public std::exception {
  public:
    /// The place is the caller's.
    ORQBasFailure(ORQBasFailureKind kind, std::string text, const char* file = __builtin_FILE(),
                  int line = __builtin_LINE());

    [[nodiscard]] ORQBasFailureKind Kind() const { return m_kind; }
    /// The whole message, with the values and the place in the model or file; UTF-8, no line break
    /// at the end. Lives as long as the exception.
    [[nodiscard]] const std::string& Text() const { return m_text; }
    /// The bytes of Text().
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

/// Throws what the system said last (errno): "PATH: cannot DOING: No space left on device", of kind
/// Io.
[[noreturn]] ORQ_EXPORT void ORQBasThrowSystemFailure(const std::string& path,
                                                      const std::string& doing,
                                                      const char* file = __builtin_FILE(),
                                                      int line = __builtin_LINE());
