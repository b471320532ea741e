#include "formats/nastran/NastranLine.h"

#include <algorithm>

#include "formats/nastran/NastranCard.h"

namespace orq::exchange {
namespace {

// Columns of the format: a name of 8, then 8 small fields of 8 or 4 large fields of 16, then the
// continuation mark.
constexpr std::size_t kNameWidth = 8;
constexpr std::size_t kSmallWidth = 8;
constexpr std::size_t kLargeWidth = 16;

/// A tab moves to the next column of eight, where a small field begins.
std::string WithoutTabs(std::string_view text) {
    std::string expanded;
    for (const char c : text) {
        if (c == '\t') {
            expanded.resize((expanded.size() / kSmallWidth + 1) * kSmallWidth, ' ');
        } else {
            expanded += c;
        }
    }
    return expanded;
}

/// Whether commas separate the fields of a line: a name stands before the first comma. Equations,
/// and labels in fixed columns, contain commas too.
bool IsFree(std::string_view text, std::size_t endOfName) {
    std::string_view name = BulkTrimmed(text.substr(0, endOfName));
    if (name.ends_with('*')) {
        name = BulkTrimmed(name.substr(0, name.size() - 1));
    }
    return name.size() <= kNameWidth && name.find_first_of(" \t") == std::string_view::npos;
}

/// The end of the name. In some decks a blank, not a comma, separates it from the first field, a
/// number: "CBUSH   10211, 10010".
std::size_t EndOfName(std::string_view text, std::size_t comma) {
    const std::size_t blank = text.find_first_of(" \t");
    return blank < comma && BulkInt(BulkTrimmed(text.substr(blank, comma - blank))) ? blank : comma;
}

/// Blanks separate numbers as commas do; a text with a word in it stays one field.
void AppendParted(std::string_view text, std::vector<std::string_view>& fields) {
    const std::size_t first = fields.size();
    for (std::string_view rest = text; !rest.empty();) {
        const std::string_view word = rest.substr(0, rest.find_first_of(" \t"));
        rest = BulkTrimmed(rest.substr(word.size()));
        fields.push_back(word);
    }
    const std::size_t nWords = fields.size() - first;
    const auto isNumber = [](std::string_view word) { return BulkReal(word).has_value(); };
    if (nWords == 0 ||
        (nWords > 1 && !std::all_of(fields.end() - static_cast<std::ptrdiff_t>(nWords),
                                    fields.end(), isNumber))) {
        fields.resize(first);
        fields.push_back(text);
    }
}

bool IsMark(std::string_view field) {
    return field.front() == '+' || field.front() == '*' || !BulkReal(field);
}

}  // namespace

void NastranLine::Split(std::string_view text, std::deque<std::string>& made) {
    fields.clear();
    const std::size_t comma = text.find(',');
    if (comma != std::string_view::npos && IsFree(text, EndOfName(text, comma))) {
        SplitFree(text, EndOfName(text, comma));
    } else if (text.find('\t') == std::string_view::npos) {
        SplitFixed(text);
    } else {
        SplitFixed(made.emplace_back(WithoutTabs(text)));
    }
}

void NastranLine::SplitFree(std::string_view text, std::size_t end) {
    name = BulkTrimmed(text.substr(0, end));
    isLarge = name.ends_with('*') || name.starts_with('*');
    for (std::size_t begin = end + 1; begin <= text.size(); begin = end + 1) {
        end = std::min(text.find(',', begin), text.size());
        AppendParted(BulkTrimmed(text.substr(begin, end - begin)), fields);
    }
    while (!fields.empty() && fields.back().empty()) {
        fields.pop_back();
    }
    // What stands behind the last field of a line is a continuation mark; a number there continues
    // a list over more than eight fields.
    const std::size_t nFields = isLarge ? kBulkFieldsInLine / 2 : kBulkFieldsInLine;
    if (fields.size() == nFields + 1 && IsMark(fields.back())) {
        fields.pop_back();
    }
    // Whole lines of fields, so that a continuation begins with the first field of the next line.
    fields.resize((std::max<std::size_t>(fields.size(), 1) + nFields - 1) / nFields * nFields);
}

void NastranLine::SplitFixed(std::string_view text) {
    name = BulkTrimmed(text.substr(0, kNameWidth));
    isLarge = name.ends_with('*') || name.starts_with('*');
    const std::size_t width = isLarge ? kLargeWidth : kSmallWidth;
    // The mark behind the fields is not read: a continuation follows its card, whatever its mark.
    const std::size_t tail = kNameWidth + kBulkFieldsInLine * kSmallWidth;
    for (std::size_t at = kNameWidth; at < std::min(text.size(), tail); at += width) {
        fields.push_back(text.substr(at, std::min(width, tail - at)));
    }
    fields.resize(isLarge ? kBulkFieldsInLine / 2 : kBulkFieldsInLine);
}

}  // namespace orq::exchange
