#include "formats/nastran/NastranDeck.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <span>

#include "ORQExcImportError.h"
#include "files/WholeFile.h"

namespace orq::exchange {
namespace {

constexpr std::size_t kFieldsInLine = 8;
constexpr std::size_t kNameWidth = 8;
constexpr std::size_t kSmallWidth = 8;
constexpr std::size_t kLargeWidth = 16;

std::string_view Trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string Upper(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    return upper;
}

std::string FirstWord(std::string_view text) {
    text = Trimmed(text);
    return Upper(text.substr(0, text.find_first_of(" \t,=('\"")));
}

std::string_view TakeLine(std::string_view& rest) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

/// Whether a file begins with control statements rather than with bulk data.
bool HasControl(std::string_view contents) {
    while (!contents.empty()) {
        const std::string word = FirstWord(TakeLine(contents));
        if (word == "CEND" || word == "BEGIN") {
            return true;
        }
    }
    return false;
}

/// The name that marks of a continuation share.
std::string_view MarkName(std::string_view mark) {
    mark.remove_prefix(std::min(mark.find_first_not_of("+*"), mark.size()));
    return mark;
}

template <class T>
std::optional<T> Parsed(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
    }
    // What from_chars knows beyond digits ("inf", "nan", another sign) is no number here.
    const std::size_t first = text.starts_with('-') ? 1 : 0;
    if (first >= text.size() ||
        (text[first] != '.' && std::isdigit(static_cast<unsigned char>(text[first])) == 0)) {
        return std::nullopt;
    }
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value)
                                                                    : std::nullopt;
}

}  // namespace

std::optional<int> BulkInt(std::string_view text) {
    return Parsed<int>(text);
}

std::optional<double> BulkReal(std::string_view text) {
    if (const auto value = Parsed<double>(text)) {
        return value;
    }
    // An exponent may be marked by D, or by its sign alone.
    const std::size_t mark = text.find_first_of("dD");
    const std::size_t exponent =
        mark != std::string_view::npos ? mark : text.find_first_of("+-", 1);
    if (exponent == std::string_view::npos || exponent == 0 ||
        text.find_first_of("eE") != std::string_view::npos) {
        return std::nullopt;
    }
    std::string spelt(text.substr(0, exponent));
    spelt.append("e").append(text.substr(exponent + (mark == exponent ? 1 : 0)));
    return Parsed<double>(spelt);
}

std::string BulkFieldName(int field) {
    return fmt::format("field {}", (field - 1) / 8 * 10 + (field - 1) % 8 + 2);
}

// --- Problems ------------------------------------------------------------------------------------

int NastranProblems::AddFile(const std::filesystem::path& file) {
    m_files.push_back(file.string());
    return static_cast<int>(m_files.size()) - 1;
}

std::string NastranProblems::NameOf(const BulkPlace& place) const {
    return fmt::format("{}: line {}", m_files[static_cast<std::size_t>(place.file)], place.line);
}

void NastranProblems::Add(const BulkPlace& place, std::string_view message) {
    if (++m_nProblems <= kMost) {
        m_told.push_back(fmt::format("{}: {}", NameOf(place), message));
    }
}

void NastranProblems::Check() const {
    if (m_nProblems == 0) {
        return;
    }
    std::vector<std::string> errors = m_told;
    if (m_nProblems > kMost) {
        errors.push_back(fmt::format("{}: and {} more errors", m_files[0], m_nProblems - kMost));
    }
    throw ORQExcImportError(std::move(errors));
}

// --- Cards ---------------------------------------------------------------------------------------

std::string_view BulkCard::Text(int field) const {
    return field > NumFields() ? std::string_view{}
                               : Trimmed(m_fields[static_cast<std::size_t>(field - 1)]);
}

bool BulkCard::IsInt(int field) const {
    return BulkInt(Text(field)).has_value();
}

bool BulkCard::Is(int field, std::string_view word) const {
    return std::ranges::equal(Text(field), word, [](char a, char b) {
        return std::toupper(static_cast<unsigned char>(a)) == b;
    });
}

std::optional<int> BulkCard::Int(int field) const {
    const std::string_view text = Text(field);
    const auto value = BulkInt(text);
    if (!value && !text.empty()) {
        Complain(field, fmt::format("\"{}\" is not an integer that fits", text));
    }
    return value;
}

std::optional<int> BulkCard::Label(int field) const {
    const auto label = Int(field);
    if (label && *label < 1) {
        Complain(field, fmt::format("{} is below 1", *label));
        return std::nullopt;
    }
    return label;
}

std::optional<int> BulkCard::NeededLabel(int field) const {
    if (IsBlank(field)) {
        Complain(field, "is blank; a number is needed");
    }
    return Label(field);
}

std::optional<double> BulkCard::Real(int field) const {
    const std::string_view text = Text(field);
    const auto value = BulkReal(text);
    if (!value && !text.empty()) {
        Complain(field, fmt::format("\"{}\" is not a number that fits", text));
    }
    return value;
}

void BulkCard::Complain(int field, std::string_view message) const {
    Complain(fmt::format("{}: {}", BulkFieldName(field), message));
}

void BulkCard::Complain(std::string_view message) const {
    const std::string_view label = Text(1);
    m_problems->Add(m_place, BulkInt(label) ? fmt::format("{} {}: {}", m_name, label, message)
                                            : fmt::format("{}: {}", m_name, message));
}

// --- Lines ---------------------------------------------------------------------------------------

NastranDeck::NastranDeck(const std::filesystem::path& file, NastranProblems& problems,
                         Bounds bounds)
    : m_problems(problems), m_bounds(bounds) {
    Open(file, std::nullopt);
    m_isControl = HasControl(m_sources.back().rest);
    m_hasLine = NextLine();
}

void NastranDeck::Open(const std::filesystem::path& path,
                       const std::optional<BulkPlace>& includedAt) {
    std::error_code unknown;  // A file that cannot be found is reported when it is read.
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
    try {
        const std::string& content = ContentOf(path, found);
        m_sources.push_back({path, found, m_problems.AddFile(path), content});
    } catch (const ORQExcImportError& error) {
        if (!includedAt) {
            throw;
        }
        m_problems.Add(*includedAt, fmt::format("INCLUDE: {}", error.what()));
    }
}

const std::string& NastranDeck::ContentOf(const std::filesystem::path& path,
                                          const std::filesystem::path& found) {
    const auto known = m_contents.find(found);
    return known != m_contents.end() ? known->second : m_contents[found] = ReadWholeFile(path);
}

/// The files that include one another down to this one, the innermost few of them.
std::string NastranDeck::ChainTo(const std::filesystem::path& path) const {
    constexpr std::size_t kMostTold = 20;
    const std::size_t first = m_sources.size() - std::min(m_sources.size(), kMostTold);
    std::string chain = first > 0 ? "... -> " : "";
    for (const Source& source : std::span(m_sources).subspan(first)) {
        chain += source.path.string() + " -> ";
    }
    return chain + path.string();
}

/// Nothing more is read.
void NastranDeck::End(const BulkPlace& place, std::string_view problem) {
    m_problems.Add(place, problem);
    m_sources.clear();
}

/// The next line that is more than a comment, without the comment at its end.
std::optional<std::string_view> NastranDeck::NextText(BulkPlace& place) {
    while (!m_sources.empty()) {
        Source& source = m_sources.back();
        if (source.rest.empty()) {
            m_sources.pop_back();
            continue;
        }
        std::string_view text = TakeLine(source.rest);
        place = {source.number, ++source.line};
        if (++m_nLines > m_bounds.lines) {
            End(place, fmt::format("the deck has more than {} lines, those of included files "
                                   "counted each time",
                                   m_bounds.lines));
            break;
        }
        text = text.substr(0, text.find('$'));
        if (!Trimmed(text).empty()) {
            return text;
        }
    }
    return std::nullopt;
}

bool NastranDeck::IsControl(std::string_view text) {
    if (!m_isControl) {
        return false;
    }
    m_isControl = FirstWord(text) != "BEGIN";
    ++m_nControlLines;
    return true;
}

bool NastranDeck::Include(std::string_view text, const BulkPlace& place) {
    if (FirstWord(text) != "INCLUDE") {
        return false;
    }
    std::string_view name = Trimmed(text);
    name = Trimmed(name.substr(std::string_view("INCLUDE").size()));
    const char quote = name.empty() ? ' ' : name.front();
    if (quote == '\'' || quote == '"') {
        if (name.size() < 2 || name.back() != quote) {
            m_problems.Add(place, "INCLUDE: the name of the file has no closing quote");
            return true;
        }
        name = name.substr(1, name.size() - 2);
    }
    if (name.empty()) {
        m_problems.Add(place, "INCLUDE: names no file");
        return true;
    }
    Open(m_sources.back().path.parent_path() / name, place);
    return true;
}

bool NastranDeck::NextLine() {
    BulkPlace place{};
    while (const auto text = NextText(place)) {
        if (m_isEnded) {
            ++m_nLinesBehindEnd;
        } else if (Include(*text, place) || IsControl(*text)) {
            continue;
        } else if (FirstWord(*text) == "ENDDATA") {
            m_isEnded = true;
        } else {
            m_line = {place, {}, {}, {}, false};
            text->find(',') != std::string_view::npos ? SplitFree(*text) : SplitFixed(*text);
            return true;
        }
    }
    return false;
}

void NastranDeck::SplitFree(std::string_view text) {
    std::array<std::string_view, kFieldsInLine + 2> parts;
    std::size_t nParts = 0;
    bool isTooLong = false;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        const std::string_view part = Trimmed(text.substr(begin, end - begin));
        begin = end + 1;
        if (nParts < parts.size()) {
            parts[nParts++] = part;
        } else {
            isTooLong = isTooLong || !part.empty();
        }
    }
    m_line.name = parts[0];
    m_line.isLarge = m_line.name.ends_with('*') || m_line.name.starts_with('*');
    const std::size_t nFields = m_line.isLarge ? kFieldsInLine / 2 : kFieldsInLine;
    m_line.fields.assign(parts.begin() + 1,
                         parts.begin() + 1 + static_cast<std::ptrdiff_t>(nFields));
    m_line.tail = parts[nFields + 1];
    const bool isMark =
        m_line.tail.empty() || m_line.tail.front() == '+' || m_line.tail.front() == '*';
    const auto behind = std::span(parts).subspan(nFields + 2);
    if (isTooLong || !isMark ||
        std::ranges::any_of(behind, [](std::string_view part) { return !part.empty(); })) {
        m_problems.Add(m_line.place, fmt::format("{}: the line has more than {} fields",
                                                 Upper(m_line.name), nFields));
    }
}

void NastranDeck::SplitFixed(std::string_view text) {
    text = WithoutTabs(text);
    m_line.name = Trimmed(text.substr(0, kNameWidth));
    m_line.isLarge = m_line.name.ends_with('*') || m_line.name.starts_with('*');
    const std::size_t width = m_line.isLarge ? kLargeWidth : kSmallWidth;
    const std::size_t tail = kNameWidth + kFieldsInLine * kSmallWidth;
    for (std::size_t at = kNameWidth; at < std::min(text.size(), tail); at += width) {
        m_line.fields.push_back(text.substr(at, std::min(width, tail - at)));
    }
    m_line.fields.resize(m_line.isLarge ? kFieldsInLine / 2 : kFieldsInLine);
    if (text.size() > tail) {
        m_line.tail = Trimmed(text.substr(tail, kNameWidth));
    }
}

/// A tab leads to the next column that a small field begins at.
std::string_view NastranDeck::WithoutTabs(std::string_view text) {
    if (text.find('\t') == std::string_view::npos) {
        return text;
    }
    std::string& expanded = m_expanded.emplace_back();
    for (const char c : text) {
        if (c == '\t') {
            expanded.resize((expanded.size() / kSmallWidth + 1) * kSmallWidth, ' ');
        } else {
            expanded += c;
        }
    }
    return expanded;
}

// --- From lines to cards -------------------------------------------------------------------------

bool NastranDeck::Next(BulkCard& card) {
    while (m_expanded.size() > 1) {  // the last may be of the line at hand
        m_expanded.pop_front();
    }
    for (; m_hasLine && m_line.IsContinuation(); m_hasLine = NextLine()) {
        m_problems.Add(m_line.place,
                       fmt::format("the continuation \"{}\" has no card before it", m_line.name));
    }
    if (!m_hasLine) {
        return false;
    }
    card.m_problems = &m_problems;
    card.m_place = m_line.place;
    card.m_name = Upper(m_line.name);
    if (m_line.isLarge) {
        card.m_name.pop_back();
    }
    card.m_fields.clear();
    bool isHalfLine = false;
    std::string_view tail;
    do {
        Append(card, isHalfLine);
        tail = m_line.tail;
        m_hasLine = NextLine();
        CheckContinued(card, tail);
    } while (m_hasLine && m_line.IsContinuation());
    while (card.m_fields.size() > 1 && Trimmed(card.m_fields.back()).empty()) {
        card.m_fields.pop_back();
    }
    return true;
}

/// Two lines of large fields make up one of small ones.
void NastranDeck::Append(BulkCard& card, bool& isHalfLine) {
    if (isHalfLine && !m_line.isLarge) {
        card.m_fields.resize(card.m_fields.size() + kFieldsInLine / 2);
    }
    isHalfLine = m_line.isLarge && !isHalfLine;
    card.m_fields.insert(card.m_fields.end(), m_line.fields.begin(), m_line.fields.end());
}

void NastranDeck::CheckContinued(const BulkCard& card, std::string_view tail) {
    const std::string_view wanted =
        tail.starts_with('+') || tail.starts_with('*') ? MarkName(tail) : std::string_view{};
    if (wanted.empty()) {
        return;
    }
    if (!m_hasLine || !m_line.IsContinuation()) {
        card.Complain(fmt::format("its continuation \"{}\" never comes", tail));
    } else if (const auto found = MarkName(m_line.name); !found.empty() && found != wanted) {
        card.Complain(
            fmt::format("continuation \"{}\" follows where \"{}\" should", m_line.name, tail));
    }
}

}  // namespace orq::exchange
