#include "formats/nastran/NastranDeck.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <span>
#include <utility>

#include "ORQExcImportError.h"
#include "files/WholeFile.h"
#include "formats/nastran/NastranReplication.h"
#include "formats/nastran/NastranStatements.h"

namespace orq::exchange {
// --- Files ---------------------------------------------------------------------------------------

NastranDeck::NastranDeck(const std::filesystem::path& file, NastranProblems& problems,
                         Bounds bounds)
    : m_problems(problems), m_bounds(bounds) {
    Open(file, std::nullopt);
    m_hasControl = BeginsWithControl(m_sources.back().rest);
    m_state = m_hasControl ? State::Executive : State::Bulk;
    // Only the line behind a card shows whether the card goes on, so one line is read ahead.
    m_hasLine = NextLine();
}

NastranDeck::NastranDeck(std::string_view cards, NastranProblems& problems)
    : m_problems(problems), m_bounds() {
    m_sources.push_back({{}, {}, m_problems.AddFile("kept cards"), cards});
    m_hasLine = NextLine();
}

void NastranDeck::Open(const std::filesystem::path& path,
                       const std::optional<BulkPlace>& includedAt) {
    std::error_code unknown;  // A missing file is reported when it is read.
    std::filesystem::path found = std::filesystem::weakly_canonical(path, unknown);
    found = unknown ? path : found;
    if (std::ranges::find(m_sources, found, &Source::found) != m_sources.end()) {
        m_problems.Add(*includedAt, "INCLUDE: the file includes itself: " + ChainTo(path));
        return;
    }
    if (++m_nOpened > m_bounds.files) {
        End(*includedAt, fmt::format("INCLUDE: this would be file {} of the deck; at most {} are "
                                     "opened, each time that one is included",
                                     m_nOpened, m_bounds.files));
        return;
    }
    const std::string& content = ContentOf(path, found);
    m_sources.push_back({path, found, m_problems.AddFile(path), content});
}

const std::string& NastranDeck::ContentOf(const std::filesystem::path& path,
                                          const std::filesystem::path& found) {
    const auto known = m_contents.find(found);
    if (known != m_contents.end()) {
        return known->second;
    }
    std::string& content = m_contents[found];
    content = ReadWholeFile(path);
    if (constexpr std::string_view kMark = "\xEF\xBB\xBF"; content.starts_with(kMark)) {
        content.erase(0, kMark.size());  // some editors begin UTF-8 files with it
    }
    return content;
}

/// The innermost files of the chain of includes; a chain may be thousands of files long.
std::string NastranDeck::ChainTo(const std::filesystem::path& path) const {
    // The innermost are where a circle of includes shows.
    constexpr std::size_t kMostTold = 20;
    const std::size_t first = m_sources.size() - std::min(m_sources.size(), kMostTold);
    std::string chain = first > 0 ? "... -> " : "";
    for (const Source& source : std::span(m_sources).subspan(first)) {
        chain += source.path.string() + " -> ";
    }
    return chain + path.string();
}

/// Adds the problem and ends the deck: nothing more is read.
void NastranDeck::End(const BulkPlace& place, std::string_view problem) {
    m_problems.Add(place, problem);
    m_sources.clear();
}

/// The file that an INCLUDE names; while a quote is open, the name goes on in the next line.
std::optional<std::string> NastranDeck::IncludedName(std::string_view raw, const BulkPlace& place) {
    std::string_view rest =
        BulkTrimmed(BulkTrimmed(raw).substr(std::string_view("INCLUDE").size()));
    if (rest.starts_with('=')) {
        rest = BulkTrimmed(rest.substr(1));
    }
    const char quote = rest.empty() ? ' ' : rest.front();
    std::string name;
    if (quote != '\'' && quote != '"') {
        name = BulkTrimmed(rest.substr(0, rest.find_first_of(" \t")));
    } else {
        // A quote that is never closed must not take the rest of the deck for a name.
        constexpr int kMostLines = 20;
        rest.remove_prefix(1);
        for (int i = 0; rest.find(quote) == std::string_view::npos; ++i) {
            BulkPlace next{};
            const auto more = i < kMostLines ? NextRaw(next) : std::nullopt;
            name += BulkTrimmed(rest);
            if (!more) {
                m_problems.Add(place, "INCLUDE: the name of the file has no closing quote");
                return std::nullopt;
            }
            rest = BulkTrimmed(*more);
        }
        name += rest.substr(0, rest.find(quote));
    }
    if (BulkTrimmed(name).empty()) {
        m_problems.Add(place, "INCLUDE: names no file");
        return std::nullopt;
    }
    return std::string(BulkTrimmed(name));
}

/// Searched beside the including file, beside those that include it, outwards to the main file.
std::filesystem::path NastranDeck::PlaceOfIncluded(const std::string& name) const {
    std::string path = WithEnvironment(name);
    std::filesystem::path found;
    // The name is tried as it stands first: here a backslash may be part of a name.
    for (int attempt = 0; attempt < 2; ++attempt) {
        for (auto source = m_sources.rbegin(); source != m_sources.rend(); ++source) {
            std::error_code unknown;
            found = source->path.parent_path() / path;
            if (std::filesystem::exists(found, unknown)) {
                return found;
            }
        }
        std::ranges::replace(path, '\\', '/');  // between folders in decks from Windows
    }
    return m_sources.back().path.parent_path() / name;
}

/// Returns false for what is no INCLUDE, and for one whose file cannot be read, which stays in the
/// deck.
bool NastranDeck::Include(std::string_view raw, const BulkPlace& place) {
    // Kept cards stand in no file, so there is no folder to search: their INCLUDE stays a card.
    if (m_sources.back().path.empty() || BulkFirstWord(raw) != "INCLUDE") {
        return false;
    }
    const auto name = IncludedName(raw, place);
    if (!name) {
        return true;
    }
    const std::filesystem::path path = PlaceOfIncluded(*name);
    try {
        Open(path, place);
    } catch (const ORQExcImportError& error) {
        m_problems.Find(place, "included file", *name, fmt::format("INCLUDE: {}", error.what()));
        m_lacksIncludes = true;
        // The name may have come from several lines; the kept statement has it in one.
        m_made.push_back("INCLUDE '" + *name + "'");
        m_line.raw = m_made.back();
        m_line.isInFile = false;
        return false;
    }
    return true;
}

// --- Lines ---------------------------------------------------------------------------------------

/// The next line of the deck, with its comment; nothing behind the last line.
std::optional<std::string_view> NastranDeck::NextRaw(BulkPlace& place) {
    while (!m_sources.empty()) {
        Source& source = m_sources.back();
        if (source.rest.empty()) {
            m_sources.pop_back();
            continue;
        }
        const std::string_view raw = TakeBulkLine(source.rest);
        place = {source.number, ++source.line};
        if (++m_nLines > m_bounds.lines) {
            End(place, fmt::format("the deck has more than {} lines, those of included files "
                                   "counted each time",
                                   m_bounds.lines));
            break;
        }
        return raw;
    }
    return std::nullopt;
}

bool NastranDeck::NextLine() {
    BulkPlace place{};
    while (const auto raw = NextRaw(place)) {
        const std::string_view text = WithoutBulkComment(*raw);
        const std::size_t first = text.find_first_not_of(" \t");
        if (first == std::string_view::npos) {
            continue;
        }
        m_line.raw = *raw;
        m_line.isInFile = true;
        // Among bulk data only INCLUDE, BEGIN and ENDDATA are statements, so one letter spares most
        // lines the comparison of words.
        const char letter =
            static_cast<char>(std::toupper(static_cast<unsigned char>(text[first])));
        if (m_state == State::Bulk && letter != 'I' && letter != 'B' && letter != 'E') {
            m_line.place = place;
            m_line.part = m_part;
            m_line.Split(text, m_expanded);
            return true;
        }
        const std::string word = BulkFirstWord(text);
        // Control sections may include files, so INCLUDE comes before control. Where the file cannot
        // be read, `m_line.raw` is the statement that stays.
        if (m_state == State::Ended) {
            ++m_nLinesBehindEnd;
        } else if (Include(*raw, place) || TakeControl(m_line.raw, word)) {
            continue;
        } else if (word == "ENDDATA") {
            m_state = State::Ended;
        } else if (word == "BEGIN") {
            Begin(*raw);
        } else {
            m_line.place = place;
            m_line.part = m_part;
            m_line.Split(m_line.isInFile ? text : m_line.raw, m_expanded);
            return true;
        }
    }
    return false;
}

bool NastranDeck::TakeControl(std::string_view raw, const std::string& word) {
    if (m_state == State::Bulk) {
        return false;
    }
    if (word == "BEGIN") {
        Begin(raw);
        return true;
    }
    std::string& text = m_state == State::Executive ? m_executive : m_case;
    text.append(raw.substr(0, raw.find_last_not_of(" \t") + 1)).append("\n");
    if (word == "CEND") {
        m_state = State::Case;
    }
    return true;
}

void NastranDeck::Begin(std::string_view raw) {
    m_state = State::Bulk;
    const std::string name = NameOfBulkPart(raw);
    const auto found = std::ranges::find(m_parts, name, &Part::name);
    m_part = static_cast<std::size_t>(found - m_parts.begin());
    if (found == m_parts.end()) {
        m_parts.push_back({name, {}});
    }
    m_parts[m_part].begin = BulkTrimmed(WithoutBulkComment(raw));
}

// --- From lines to cards -------------------------------------------------------------------------

bool NastranDeck::Next(BulkCard& card) {
    card.m_problems = &m_problems;
    while (true) {
        card.m_isBroken = false;
        card.m_isNeeded = false;
        if (Repeat(card)) {
            return true;
        }
        // The last expanded text may belong to the line that is read ahead.
        while (m_expanded.size() > 1) {
            m_expanded.pop_front();
        }
        if (!m_hasLine) {
            return false;
        }
        const bool isRule = m_line.IsReplication();
        Assemble(card);
        if (!isRule || !BeginReplication(card)) {
            // Fields are copied only for a card that the next line repeats.
            if (m_hasLine && m_line.IsReplication()) {
                Remember(card);
            }
            return true;
        }
    }
}

void NastranDeck::Assemble(BulkCard& card) {
    card.m_place = m_line.place;
    m_partOfCard = m_line.part;
    card.m_name = m_line.name;
    if (card.m_name.ends_with('*')) {
        card.m_name.pop_back();
        card.m_name = BulkTrimmed(std::string(card.m_name));
    }
    for (char& c : card.m_name) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    card.m_fields.clear();
    card.m_source = m_line.raw;
    const bool isLost = m_line.IsContinuation();
    const bool isInFile = m_line.isInFile;
    bool isHalfLine = false;
    std::string joined;  // of lines that do not stand together
    do {
        const char* const end = m_line.raw.data() + m_line.raw.size();
        // Lines that stand together in a file are one view of it, with the comments between them;
        // others are joined to a new text.
        if (isInFile && joined.empty() && m_line.place.file == card.m_place.file) {
            card.m_source = {card.m_source.data(),
                             static_cast<std::size_t>(end - card.m_source.data())};
        } else if (m_line.raw.data() != card.m_source.data()) {
            joined = (joined.empty() ? std::string(card.m_source) : joined) + "\n" +
                     std::string(m_line.raw);
        }
        Append(card, isHalfLine);
        m_hasLine = NextLine();
    } while (m_hasLine && m_line.IsContinuation() && m_line.part == m_partOfCard);
    if (!joined.empty()) {
        card.m_source = m_made.emplace_back(std::move(joined));
    }
    // Blank fields at the end are cut: NumFields then is the last field that holds something.
    while (card.m_fields.size() > 1 && BulkTrimmed(card.m_fields.back()).empty()) {
        card.m_fields.pop_back();
    }
    if (isLost) {
        const std::string mark = std::exchange(card.m_name, "continuation");
        m_problems.Find(card.m_place, "card", mark,
                        fmt::format("the continuation \"{}\" has no card before it", mark));
    }
}

/// Two lines of large fields have the fields of one line of small ones; a small line behind the
/// first half leaves the second half blank.
void NastranDeck::Append(BulkCard& card, bool& isHalfLine) const {
    if (isHalfLine && !m_line.isLarge) {
        card.m_fields.resize(card.m_fields.size() + kBulkFieldsInLine / 2);
    }
    isHalfLine = m_line.isLarge && !isHalfLine;
    card.m_fields.insert(card.m_fields.end(), m_line.fields.begin(), m_line.fields.end());
}

// --- Replication ---------------------------------------------------------------------------------

void NastranDeck::Remember(const BulkCard& card) {
    m_replication = {card.m_name, {}, {}, 0};
    for (int field = 1; field <= card.NumFields(); ++field) {
        m_replication.fields.emplace_back(card.Text(field));
    }
}

/// Takes a card "=" or "=(4)"; returns false when it cannot be followed.
bool NastranDeck::BeginReplication(const BulkCard& card) {
    const auto count = RepetitionsOf(card.Name());
    std::vector<std::string> rule;
    for (int field = 1; field <= card.NumFields(); ++field) {
        rule.emplace_back(card.Text(field));
    }
    // A count alone repeats by the rule before it.
    const bool isRule = std::ranges::any_of(rule, [](const auto& one) { return !one.empty(); });
    if (isRule) {
        m_replication.rule = std::move(rule);
    }
    if (!count || m_replication.name.empty() || m_replication.rule.empty()) {
        card.Complain("the repetition of the card before it is not understood");
        return false;
    }
    if ((m_nRepetitions += *count) > m_bounds.repetitions) {
        card.Complain(fmt::format("the deck would repeat cards more than {} times in all",
                                  m_bounds.repetitions));
        return false;
    }
    m_replication.nLeft = *count;
    return true;
}

/// Makes the next card of a replication, if there is one.
bool NastranDeck::Repeat(BulkCard& card) {
    if (m_replication.nLeft == 0) {
        return false;
    }
    --m_replication.nLeft;
    auto next = RepeatedFields(m_replication.fields, m_replication.rule);
    if (!next) {
        card.Complain(
            fmt::format("{}: a field that is to be raised is no number", m_replication.name));
        m_replication.nLeft = 0;
        return false;
    }
    m_replication.fields = std::move(*next);
    // The card has no text in a file; free fields hold a number of any length.
    std::string text = m_replication.name;
    for (std::size_t i = 0; i < m_replication.fields.size(); ++i) {
        text.append(i > 0 && i % kBulkFieldsInLine == 0 ? "\n+," : ",");
        text.append(m_replication.fields[i]);
    }
    card.m_source = m_made.emplace_back(std::move(text));
    card.m_name = m_replication.name;
    card.m_fields.assign(m_replication.fields.begin(), m_replication.fields.end());
    return true;
}

}  // namespace orq::exchange
