#pragma once

#include <nlohmann/json_fwd.hpp>
#include <ostream>
#include <streambuf>
#include <string>
#include <string_view>

#include "ORQExcTexts.h"

namespace orqmodel {

/// How much a command prints.
enum class Verbosity {
    Quiet,  ///< results and errors, no account of what was done
    Ordinary,
    Verbose,  ///< every name, where an account of many shortens its lists
};

/// Where a command writes: results to `out`, the rest to `err`.
struct Console {
    std::ostream& out;
    std::ostream& err;
    bool showsProgress;  // Whether someone is watching `err`.
    /// Where a bar is drawn; `err` lets nothing through that moves the cursor.
    std::ostream* terminal = nullptr;
    Verbosity verbosity = Verbosity::Ordinary;
    /// Where rows of tables go, whose texts are printable: `out`, flushed, as it was given.
    std::ostream* rows = nullptr;
    int width = 0;  // Characters and lines of the terminal that `out` is; 0 for something else.
    int height = 0;

    bool IsQuiet() const { return verbosity == Verbosity::Quiet; }
    bool IsVerbose() const { return verbosity == Verbosity::Verbose; }
};

/// How a command ended; the values are the program's exit statuses.
enum class ExitStatus : int {
    Done = 0,
    Findings = 1,
    WrongUse = 2,
    Unreadable = 3,  // Cannot be read, cannot be written, or is damaged.
    BrokenInvariant = 70,
    Interrupted = 128  // Plus the number of the signal.
};

/// Passes lines on to another stream, ORQExcPrintable but for tabs; so what a command forgets to
/// make printable reaches no terminal either. Writes a part of a line when it is flushed or ends.
class PrintableBuffer : public std::streambuf {
  public:
    explicit PrintableBuffer(std::ostream& out) : m_out(out) {}
    ~PrintableBuffer() override;
    PrintableBuffer(const PrintableBuffer&) = delete;
    PrintableBuffer& operator=(const PrintableBuffer&) = delete;

  protected:
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int sync() override;

  private:
    void WriteLine();

    std::ostream& m_out;
    std::string m_line;
};

/// Writes an indented object and a line break; strings that are not UTF-8 are made so, and what
/// ORQExcPrintable replaces is escaped.
void PrintJson(std::ostream& out, const nlohmann::json& object);
/// The same on one line.
void PrintJsonLine(std::ostream& out, const nlohmann::json& object);

}  // namespace orqmodel
