#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "ORQExcKeptTexts.h"
#include "compare/ComparedModels.h"
#include "compare/Pairs.h"
#include "model/KeptArrays.h"

namespace orq::exchange {
namespace {

using Change = ORQExcDifference::Change;

constexpr std::ptrdiff_t kPieceSize = std::ptrdiff_t{1} << 20;  // bytes of an array read at once

/// A text under its format, section and instance.
struct NamedText {
    std::string name;
    int number;
    const ORQExcKeptText* text;
};

std::vector<NamedText> NamedTexts(const std::vector<ORQExcKeptText>& texts) {
    std::vector<NamedText> named;
    for (const ORQExcKeptText& text : texts) {
        named.push_back({fmt::format("{}, {}{}{}", text.format, text.section,
                                     text.instance.empty() ? "" : ", ", text.instance),
                         0, &text});
    }
    return named;
}

/// The name of the object that a card stands for: "PSHELL 12" for the line "PSHELL*         12".
/// Fields end at commas, or else after eight characters, of a wide card after sixteen.
std::string ObjectOf(std::string_view line) {
    const auto trimmed = [](std::string_view field) {
        const auto begin = field.find_first_not_of(" *\t");
        const auto end = field.find_last_not_of(" *\t");
        return std::string(begin == field.npos ? "" : field.substr(begin, end - begin + 1));
    };
    const auto comma = line.find(',');
    if (comma != line.npos) {
        const auto next = line.find(',', comma + 1);
        return trimmed(line.substr(0, comma)) + " " +
               trimmed(line.substr(comma + 1, next == line.npos ? next : next - comma - 1));
    }
    const std::string_view head = line.substr(0, 8);
    const std::size_t width = head.find('*') == head.npos ? 8 : 16;
    return trimmed(head) + " " + trimmed(line.size() > 8 ? line.substr(8, width) : "");
}

/// A line of a text, with the object of its card. A card goes on in lines that begin with a blank,
/// a plus, a star or a comma.
struct Line {
    std::string text;
    std::string object;  // of the model that the card of the line is about
    /// Cards of several objects may have the same line.
    bool operator<(const Line& other) const {
        return std::tie(text, object) < std::tie(other.text, other.object);
    }
};

std::vector<Line> SortedLines(const std::string& text) {
    std::vector<Line> lines;
    std::istringstream stream(text);
    std::string object;
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && std::string_view(" +*,").find(line[0]) == std::string_view::npos) {
            object = ObjectOf(line);
        }
        lines.push_back({line, object});
    }
    // Sorted, since the order of cards has no meaning; a line that stands twice stays twice.
    std::ranges::stable_sort(lines, std::less<>());
    return lines;
}

std::vector<Line> OnlyIn(const std::vector<Line>& some, const std::vector<Line>& others) {
    std::vector<Line> only;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(),
                        std::back_inserter(only));
    return only;
}

/// The objects that are differences already.
class KnownChanges {
  public:
    explicit KnownChanges(DifferenceList& differences) {
        for (const ORQExcDifference& difference : differences.All()) {
            m_names.insert(difference.name);
            for (const ORQExcDifference::Member& member : difference.members) {
                if (difference.kind == DifferenceKind::Node) {
                    m_names.insert("GRID " + std::to_string(member.label));
                } else if (difference.kind == DifferenceKind::Element) {
                    m_elements.insert(std::to_string(member.label));
                }
            }
        }
    }

    /// Whether the object of a card is a difference of the model: "SPC1 1" by its name, which may
    /// go on, "CBAR 7" by the label of the element.
    bool Has(const std::string& object) const {
        const auto name = m_names.lower_bound(object);
        const bool isNamed = name != m_names.end() && name->starts_with(object) &&
                             (name->size() == object.size() || (*name)[object.size()] == ' ');
        return isNamed || (object.starts_with('C') && !object.starts_with("CORD") &&
                           m_elements.contains(object.substr(object.rfind(' ') + 1)));
    }

  private:
    std::set<std::string> m_names;
    std::set<std::string> m_elements;  // their labels
};

void CompareLines(ComparedModels& models, const KnownChanges& known, const NamedText& from,
                  const NamedText& to) {
    const std::vector<Line> linesBefore = SortedLines(from.text->text);
    const std::vector<Line> linesAfter = SortedLines(to.text->text);
    std::vector<Line> removed = OnlyIn(linesBefore, linesAfter);
    std::vector<Line> added = OnlyIn(linesAfter, linesBefore);
    if (from.text->isAlsoInModel) {
        const auto isKnown = [&](const Line& line) { return known.Has(line.object); };
        std::erase_if(removed, isKnown);
        std::erase_if(added, isKnown);
    }
    if (removed.empty() && added.empty()) {
        return;
    }
    ORQExcDifference& difference =
        models.differences.Add(DifferenceKind::Text, Change::Changed, from.name);
    difference.what = "lines";
    difference.count = static_cast<std::int64_t>(std::max(removed.size(), added.size()));
    difference.before = removed.empty() ? "" : removed[0].text;
    difference.after = added.empty() ? "" : added[0].text;
}

void CompareTexts(ComparedModels& models) {
    const ORQExcComparison& options = models.differences.Options();
    const bool isExact = options.relative == 0 && options.absolute == 0;
    const KnownChanges known(models.differences);
    const auto before = ORQExcReadKeptTexts(models.before.Document());
    const auto after = ORQExcReadKeptTexts(models.after.Document());
    const std::vector<NamedText> namedBefore = NamedTexts(before);
    const std::vector<NamedText> namedAfter = NamedTexts(after);
    for (const auto& [from, to] : ComparePairs(DifferenceKind::Text, PointersTo(namedBefore),
                                               PointersTo(namedAfter), models.differences)) {
        // Text has no tolerance: cards of objects of the model would differ where their numbers are
        // equal within it.
        if (from->text->text != to->text->text && (isExact || !from->text->isAlsoInModel)) {
            CompareLines(models, known, *from, *to);
        }
    }
}

/// An array under its format and name.
struct NamedArray {
    std::string name;
    int number;
    const KeptArray* kept;
};

std::vector<NamedArray> NamedArrays(const std::vector<KeptArray>& arrays) {
    std::vector<NamedArray> named;
    for (const KeptArray& kept : arrays) {
        named.push_back({fmt::format("{}, {}", kept.format, kept.array.name), 0, &kept});
    }
    return named;
}

std::string ShapeOf(const ORQExcMeshSource::Array& array) {
    std::string shape = fmt::format("type {}", array.scalarType);
    for (const auto& dimension : array.dimensions) {
        shape += fmt::format(", {} {}", dimension.name, dimension.length);
    }
    return shape;
}

std::vector<std::byte> RowsOf(const KeptArray& kept, int begin, int end) {
    std::vector<std::byte> rows(static_cast<std::size_t>((end - begin) * kept.array.RowSize()) *
                                static_cast<std::size_t>(ORQSimScalarSize(kept.array.scalarType)));
    ReadKeptRows(kept, begin, end, rows.data());
    return rows;
}

/// Rows that differ in two arrays of one shape, byte by byte.
std::int64_t DifferentRows(const KeptArray& before, const KeptArray& after) {
    const auto nRows = static_cast<int>(before.array.NumRows());
    const auto rowBytes = static_cast<std::ptrdiff_t>(before.array.RowSize() *
                                                      ORQSimScalarSize(before.array.scalarType));
    if (rowBytes == 0) {
        return 0;
    }
    const auto step = static_cast<int>(std::max<std::ptrdiff_t>(1, kPieceSize / rowBytes));
    std::int64_t count = 0;
    for (int begin = 0; begin < nRows;) {
        const int end = begin + std::min(nRows - begin, step);
        const std::vector<std::byte> a = RowsOf(before, begin, end);
        const std::vector<std::byte> b = RowsOf(after, begin, end);
        for (auto at = a.begin(), other = b.begin(); at != a.end();
             at += rowBytes, other += rowBytes) {
            count += std::equal(at, at + rowBytes, other) ? 0 : 1;
        }
        begin = end;
    }
    return count;
}

void CompareArrays(ComparedModels& models) {
    const std::vector<KeptArray> before = KeptArrays(models.before.Document());
    const std::vector<KeptArray> after = KeptArrays(models.after.Document());
    const std::vector<NamedArray> namedBefore = NamedArrays(before);
    const std::vector<NamedArray> namedAfter = NamedArrays(after);
    for (const auto& [from, to] : ComparePairs(DifferenceKind::Array, PointersTo(namedBefore),
                                               PointersTo(namedAfter), models.differences)) {
        const std::string shape = ShapeOf(from->kept->array);
        models.differences.Compare(DifferenceKind::Array, from->name, "shape", shape,
                                   ShapeOf(to->kept->array));
        const std::int64_t nRows =
            shape == ShapeOf(to->kept->array) ? DifferentRows(*from->kept, *to->kept) : 0;
        if (nRows > 0) {
            ORQExcDifference& difference =
                models.differences.Add(DifferenceKind::Array, Change::Changed, from->name);
            difference.what = "rows";
            difference.count = nRows;
        }
    }
}

}  // namespace

void CompareKept(ComparedModels& models) {
    CompareTexts(models);
    CompareArrays(models);
}

}  // namespace orq::exchange
