#include "formats/nastran/NastranLine.h"

#include <algorithm>

#include "formats/nastran/NastranCard.h"

namespace orq::exchange {
namespace {

constexpr std::size_t kNameWidth = 8;
constexpr std::size_t kSmallWidth = 8;
constexpr std::size_t kLargeWidth = 16;

/// A tab leads to the next column that a small field begins at.
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

/// Whether the commas of a text part fields: a name stands before the first of them. Equations,
/// and labels in fixed columns, have commas of their own.
bool IsFree(std::string_view text, std::size_t endOfName) {
    std::string_view name = BulkTrimmed(text.substr(0, endOfName));
    if (name.ends_with('*')) {
        name = BulkTrimmed(name.substr(0, name.size() - 1));
    }
    return name.size() <= kNameWidth && name.find_first_of(" \t") == std::string_view::npos;
}

/// Where the name ends when a blank parts it from the first field, a number, and commas part the
/// others: "CBUSH   10211, 10010".
std::size_t EndOfName(std::string_view text, std::size_t comma) {
    const std::size_t blank = text.find_first_of(" \t");
    return blank < comma && BulkInt(BulkTrimmed(text.substr(blank, comma - blank))) ? blank : comma;
}

/// Blanks part numbers as commas do.
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
    // A mark may stand behind the last field; lists go on behind their eighth.
    const std::size_t nFields = isLarge ? kBulkFieldsInLine / 2 : kBulkFieldsInLine;
    if (fields.size() == nFields + 1 && IsMark(fields.back())) {
        fields.pop_back();
    }
    fields.resize((std::max<std::size_t>(fields.size(), 1) + nFields - 1) / nFields * nFields);
}

void NastranLine::SplitFixed(std::string_view text) {
    name = BulkTrimmed(text.substr(0, kNameWidth));
    isLarge = name.ends_with('*') || name.starts_with('*');
    const std::size_t width = isLarge ? kLargeWidth : kSmallWidth;
    const std::size_t tail = kNameWidth + kBulkFieldsInLine * kSmallWidth;
    for (std::size_t at = kNameWidth; at < std::min(text.size(), tail); at += width) {
        fields.push_back(text.substr(at, std::min(width, tail - at)));
    }
    fields.resize(isLarge ? kBulkFieldsInLine / 2 : kBulkFieldsInLine);
}

}  // namespace orq::exchange
