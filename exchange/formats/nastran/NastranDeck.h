#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orq::exchange {

/// Where a card begins: a file by its place in NastranDeck's list, a line from 1.
struct BulkPlace {
    int file;
    int line;
};

/// What is wrong in a deck, collected so that one run tells everything.
class NastranProblems {
  public:
    static constexpr std::size_t kMost = 20;  ///< that are told; the others are counted

    /// Answers the number of the file, for BulkPlace.
    int AddFile(const std::filesystem::path& file);
    void Add(const BulkPlace& place, std::string_view message);
    std::string NameOf(const BulkPlace& place) const;
    /// Throws ORQExcImportError with all that was added, if anything was.
    void Check() const;

  private:
    std::vector<std::string> m_files;
    std::vector<std::string> m_told;
    std::size_t m_nProblems = 0;
};

/// One card: its name in upper case and its data fields, counted from 1 over all its lines,
/// eight to a line. Valid until the next card is read.
///
/// Blank fields read as nothing; what a field holds instead of a number is reported as a problem
/// and reads as nothing too.
class BulkCard {
  public:
    std::string_view Name() const { return m_name; }
    const BulkPlace& Place() const { return m_place; }
    /// The number of the last field that may hold something.
    int NumFields() const { return static_cast<int>(m_fields.size()); }

    /// Without blanks around it.
    std::string_view Text(int field) const;
    bool IsBlank(int field) const { return Text(field).empty(); }
    bool IsInt(int field) const;
    /// Whether the field holds the word, in upper or lower case.
    bool Is(int field, std::string_view word) const;
    std::optional<int> Int(int field) const;
    /// Reports what is below 1 as well.
    std::optional<int> Label(int field) const;
    /// As Label; a blank field is a problem too.
    std::optional<int> NeededLabel(int field) const;
    std::optional<double> Real(int field) const;
    double RealOr(int field, double other) const { return Real(field).value_or(other); }

    /// Reports a problem of the field, or of the whole card.
    void Complain(int field, std::string_view message) const;
    void Complain(std::string_view message) const;

  private:
    friend class NastranDeck;

    std::string m_name;
    BulkPlace m_place{};
    std::vector<std::string_view> m_fields;
    NastranProblems* m_problems = nullptr;
};

/// How messages name a card's field: the format counts ten columns to a line, of which the first
/// holds the name and the last the mark of a continuation.
std::string BulkFieldName(int field);

/// A number as bulk data spell it: "7", ".5", "1.5D3", "1.03+7".
std::optional<double> BulkReal(std::string_view text);
std::optional<int> BulkInt(std::string_view text);

/// The cards of a bulk data deck: small, large and free fields, tabs, comments, continuations and
/// included files. What is wrong is added to the problems, and reading goes on behind it.
class NastranDeck {
  public:
    /// How much a deck may have. Decks of millions of nodes in hundreds of files have less; files
    /// that include others again and again have no end.
    struct Bounds {
        int files = 10'000;  ///< opened, each time that one is
        std::int64_t lines = 1'000'000'000;
    };

    /// Throws ORQExcImportError when the file cannot be read. What is beyond the bounds is a
    /// problem, and ends the deck.
    NastranDeck(const std::filesystem::path& file, NastranProblems& problems)
        : NastranDeck(file, problems, Bounds()) {}
    NastranDeck(const std::filesystem::path& file, NastranProblems& problems, Bounds bounds);

    /// Answers false at the end of the deck.
    bool Next(BulkCard& card);

    /// Lines of executive and case control, which are passed over.
    std::int64_t NumControlLines() const { return m_nControlLines; }
    /// Lines behind ENDDATA.
    std::int64_t NumLinesBehindEnd() const { return m_nLinesBehindEnd; }

  private:
    struct Source {
        std::filesystem::path path;   // as it is named
        std::filesystem::path found;  // without links, to tell whether two are the same
        int number;
        std::string_view rest;
        int line = 0;  // the last one taken
    };
    /// A line of bulk data: name or mark, fields, mark of the continuation.
    struct Line {
        BulkPlace place;
        std::string_view name;
        std::vector<std::string_view> fields;
        std::string_view tail;
        bool isLarge = false;

        bool IsContinuation() const {
            return name.empty() || name.front() == '+' || name.front() == '*';
        }
    };

    void Open(const std::filesystem::path& path, const std::optional<BulkPlace>& includedAt);
    const std::string& ContentOf(const std::filesystem::path& path,
                                 const std::filesystem::path& found);
    std::string ChainTo(const std::filesystem::path& path) const;
    void End(const BulkPlace& place, std::string_view problem);
    std::optional<std::string_view> NextText(BulkPlace& place);
    bool NextLine();
    bool IsControl(std::string_view text);
    bool Include(std::string_view text, const BulkPlace& place);
    void SplitFree(std::string_view text);
    void SplitFixed(std::string_view text);
    std::string_view WithoutTabs(std::string_view text);
    void Append(BulkCard& card, bool& isHalfLine);
    void CheckContinued(const BulkCard& card, std::string_view tail);

    NastranProblems& m_problems;
    const Bounds m_bounds;
    int m_nOpened = 0;
    std::int64_t m_nLines = 0;
    std::map<std::filesystem::path, std::string> m_contents;  // a file is read once
    std::vector<Source> m_sources;                            // the innermost last
    std::deque<std::string> m_expanded;
    Line m_line;
    bool m_hasLine = false;
    bool m_isControl = false;
    bool m_isEnded = false;
    std::int64_t m_nControlLines = 0;
    std::int64_t m_nLinesBehindEnd = 0;
};

}  // namespace orq::exchange
