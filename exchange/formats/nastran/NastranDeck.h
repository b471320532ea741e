#pragma once

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "formats/nastran/NastranCard.h"
#include "formats/nastran/NastranLine.h"
#include "formats/nastran/NastranProblems.h"

namespace orq::exchange {

/// The cards of a bulk data deck: small, large and free fields, tabs, comments, continuations,
/// replication and included files. What is wrong is added to the problems, and reading goes on
/// behind it.
class NastranDeck {
  public:
    /// How much a deck may have. Decks of millions of nodes in hundreds of files have less; files
    /// that include others again and again have no end, nor have cards that repeat a billion times.
    struct Bounds {
        int files = 10'000;  ///< opened, each time that one is
        std::int64_t lines = 1'000'000'000;
        std::int64_t repetitions = 1'000'000;  ///< of cards, in all
    };
    /// Cards between one line BEGIN and the next.
    struct Part {
        std::string name;   ///< "SUPER=2"; empty for the main bulk data
        std::string begin;  ///< the line; empty where the deck begins with bulk data
    };

    /// Throws ORQExcImportError when the file cannot be read. What is beyond the bounds is an
    /// error, and ends the deck.
    NastranDeck(const std::filesystem::path& file, NastranProblems& problems)
        : NastranDeck(file, problems, Bounds()) {}
    NastranDeck(const std::filesystem::path& file, NastranProblems& problems, Bounds bounds);
    /// Cards as text, without control; the text has to stay.
    NastranDeck(std::string_view cards, NastranProblems& problems);

    /// Returns false at the end of the deck.
    bool Next(BulkCard& card);
    /// The part of the card that was read last, by its place in Parts().
    std::size_t PartOfCard() const { return m_partOfCard; }
    /// The main bulk data first; behind the last card, all.
    const std::vector<Part>& Parts() const { return m_parts; }

    /// Behind the last card: the lines of executive control with CEND, and of case control.
    const std::string& ExecutiveControl() const { return m_executive; }
    const std::string& CaseControl() const { return m_case; }
    bool HasControl() const { return m_hasControl; }
    /// Whether a file that it includes cannot be read.
    bool LacksIncludes() const { return m_lacksIncludes; }
    /// Lines behind ENDDATA.
    std::int64_t NumLinesBehindEnd() const { return m_nLinesBehindEnd; }

  private:
    struct Source {
        std::filesystem::path path;   // as it is named
        std::filesystem::path found;  // without links, so that one file has one path
        int number;
        std::string_view rest;
        int line = 0;  // the last one taken
    };
    enum class State { Executive, Case, Bulk, Ended };
    /// What is left of a replication.
    struct Replication {
        std::string name;                 // of the card that is repeated
        std::vector<std::string> fields;  // of the last one
        std::vector<std::string> rule;    // by field
        int nLeft = 0;
    };

    void Open(const std::filesystem::path& path, const std::optional<BulkPlace>& includedAt);
    const std::string& ContentOf(const std::filesystem::path& path,
                                 const std::filesystem::path& found);
    std::string ChainTo(const std::filesystem::path& path) const;
    void End(const BulkPlace& place, std::string_view problem);
    std::optional<std::string_view> NextRaw(BulkPlace& place);
    bool NextLine();
    bool TakeControl(std::string_view raw, const std::string& word);
    void Begin(std::string_view raw);
    bool Include(std::string_view raw, const BulkPlace& place);
    std::optional<std::string> IncludedName(std::string_view raw, const BulkPlace& place);
    std::filesystem::path PlaceOfIncluded(const std::string& name) const;
    void Assemble(BulkCard& card);
    void Append(BulkCard& card, bool& isHalfLine) const;
    void Remember(const BulkCard& card);
    bool BeginReplication(const BulkCard& card);
    bool Repeat(BulkCard& card);
    NastranProblems& m_problems;
    const Bounds m_bounds;
    int m_nOpened = 0;
    std::int64_t m_nLines = 0;
    std::int64_t m_nRepetitions = 0;
    std::map<std::filesystem::path, std::string> m_contents;  // a file is read once
    std::vector<Source> m_sources;                            // the innermost last
    std::deque<std::string> m_made;      // cards that stand in no file as they are
    std::deque<std::string> m_expanded;  // lines without their tabs
    NastranLine m_line;
    bool m_hasLine = false;
    State m_state = State::Bulk;
    bool m_hasControl = false;
    bool m_lacksIncludes = false;
    std::string m_executive;
    std::string m_case;
    std::vector<Part> m_parts = {{}};
    std::size_t m_part = 0;  // of the line at hand
    std::size_t m_partOfCard = 0;
    Replication m_replication;
    std::int64_t m_nLinesBehindEnd = 0;
};

}  // namespace orq::exchange
