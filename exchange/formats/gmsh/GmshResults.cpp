#include "formats/gmsh/GmshResults.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "ORQExcImportError.h"
#include "model/ArrayNames.h"

namespace orq::exchange {
namespace {

using Place = ORQExcResultArray::Place;

constexpr std::array<const char*, 3> kVector = {"x", "y", "z"};
constexpr std::array<const char*, 9> kTensor = {"xx", "xy", "xz", "yx", "yy",
                                                "yz", "zx", "zy", "zz"};

const char* KindOf(Place place) {
    return place == Place::Node ? "$NodeData" : "$ElementData";
}

std::vector<std::string> ComponentNames(const std::string& name, int count) {
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        const auto place = static_cast<std::size_t>(i);
        names.push_back(count == 1   ? name
                        : count == 3 ? fmt::format("{}_{}", name, kVector.at(place))
                                     : fmt::format("{}_{}", name, kTensor.at(place)));
    }
    return names;
}

bool Intersect(const std::vector<int>& a, const std::vector<int>& b) {
    auto i = a.begin();
    auto k = b.begin();
    while (i != a.end() && k != b.end()) {
        if (*i == *k) {
            return true;
        }
        *i < *k ? ++i : ++k;
    }
    return false;
}

}  // namespace

// --- Reading -------------------------------------------------------------------------------------

void GmshResults::ReadSection(GmshCursor& in, const std::string& section) {
    const std::size_t begin = in.At();
    try {
        ParseSection(in, section);
    } catch (const ORQExcImportError& error) {
        m_losses.Drop("section", section, 1, error.what());
        // The end mark is searched from the beginning of the section: the error may lie behind it.
        in.GoTo(begin);
    }
    if (!in.SkipTo("$End" + section.substr(1))) {
        in.Fail("the section has no end");
    }
}

GmshResults::Section GmshResults::ParseHead(GmshCursor& in, const std::string& section) {
    Section data{section == "$NodeData" ? Place::Node : Place::Element, "", 0, 0, 0, {}, {}};
    const int nTexts = in.Counted(in.Text<int>(), 1, "texts");
    in.Line();
    for (int i = 0; i < nTexts; ++i) {
        const std::string_view line = in.Line();
        const std::size_t first = line.find('"');
        const std::size_t last = line.rfind('"');
        if (first == std::string_view::npos || last == first) {
            in.Fail("a text is not in double quotes");
        }
        if (i == 0) {
            data.name = std::string(line.substr(first + 1, last - first - 1));
        }
    }
    if (data.name.empty()) {
        data.name = fmt::format("{} {}", section.substr(1), m_sections.size() + 1);
    }
    const int nReals = in.Counted(in.Text<int>(), 1, "real tags");
    for (int i = 0; i < nReals; ++i) {
        const double value = in.Text<double>();
        data.time = i == 0 ? value : data.time;
    }
    if (!std::isfinite(data.time)) {
        in.Fail(fmt::format("the time is {}", data.time));
    }
    std::vector<int> tags(static_cast<std::size_t>(in.Counted(in.Text<int>(), 1, "integer tags")));
    std::ranges::generate(tags, [&] { return in.Text<int>(); });
    if (tags.size() < 3) {
        in.Fail(fmt::format("{} integer tags; time step, components and count are wanted",
                            tags.size()));
    }
    data.timeStep = tags[0];
    data.nComponents = tags[1];
    if (data.nComponents != 1 && data.nComponents != 3 && data.nComponents != 9) {
        in.Fail(fmt::format("{} components; 1, 3 or 9 are supported", data.nComponents));
    }
    data.nAnnounced =
        in.Counted(tags[2], 4 + 8 * static_cast<std::size_t>(data.nComponents), "values");
    in.SkipLineEnd();
    return data;
}

void GmshResults::ParseSection(GmshCursor& in, const std::string& section) {
    const Section head = ParseHead(in, section);
    const bool isAtNodes = section == "$ElementNodeData";
    // Elements with equal numbers of nodes are one section each, so that each has rows of one size.
    std::map<int, Section> bySize;
    if (!isAtNodes) {
        bySize.emplace(0, head);
    }
    int count = 0;
    // The end mark ends the values of an ASCII section, also where the count is wrong.
    for (; in.IsBinary() ? count < head.nAnnounced : !in.AtMark(); ++count) {
        const int member = in.Int();
        const int nNodes = isAtNodes ? in.Int() : 0;
        // The largest shape has 27 nodes; a number beyond any must not size the rows.
        constexpr int kMostNodes = 1000;
        if (isAtNodes && (nNodes < 1 || nNodes > kMostNodes)) {
            in.Fail(fmt::format("element {} has {} nodes", member, nNodes));
        }
        Section& data = bySize.try_emplace(nNodes, head).first->second;
        data.nNodes = nNodes;
        data.members.push_back(member);
        for (std::size_t k = 0; k < data.NumOfMember(); ++k) {
            data.values.push_back(in.Real());
        }
    }
    if (count != head.nAnnounced) {
        m_losses.Note(section, head.name, count,
                      fmt::format("it announces {} at time {}", head.nAnnounced, head.time));
    }
    if (!in.AtMark()) {
        in.Fail("the values do not end at the section's end");
    }
    for (auto& [nNodes, data] : bySize) {
        m_sections.push_back(std::move(data));
    }
}

/// Whether a section is a part of the mesh, as our own export writes it.
bool GmshResults::IsMark(const Section& section) const {
    const std::string_view name = section.name;
    return m_hasMarks && section.nComponents == 1 &&
           (section.place == Place::Node
                ? name.starts_with(array_names::kNodeSet)
                : name == array_names::kShells || name.starts_with(array_names::kSurface) ||
                      name.starts_with(array_names::kAttribute));
}

// --- Putting it together -------------------------------------------------------------------------

void GmshResults::Resolve(const Find& node, const Find& element, const ShapeOf& shapeOf) {
    for (Section& section : m_sections) {
        FindMembers(section, section.place == Place::Node ? node : element);
        if (section.nNodes > 0) {
            PutNodesInOrder(section, shapeOf);
        }
    }
    for (Section& section : m_sections) {
        if (IsMark(section)) {
            m_marks.push_back(
                {section.name, std::move(section.members), std::move(section.values)});
        }
    }
    // Times are those of results, so the parts of the mesh leave first.
    std::erase_if(m_sections, [this](const Section& section) { return IsMark(section); });
    for (const Section& section : m_sections) {
        m_times.push_back(section.time);
    }
    std::ranges::sort(m_times);
    m_times.erase(std::unique(m_times.begin(), m_times.end()), m_times.end());
    for (std::size_t i = 0; i < m_sections.size(); ++i) {
        AddToArray(i);
    }
}

/// Turns numbers into ordinals, ascending. Where a member has several values, the last ones count.
void GmshResults::FindMembers(Section& section, const Find& find) {
    std::vector<std::size_t> rows;
    std::vector<int> ordinals;
    for (const int tag : section.members) {
        ordinals.push_back(find(tag));
        if (ordinals.back() >= 0) {
            rows.push_back(ordinals.size() - 1);
        }
    }
    const char* const kind = KindOf(section.place);
    if (rows.size() < ordinals.size()) {
        const auto missing = std::ranges::find(ordinals, -1) - ordinals.begin();
        m_losses.Drop(kind, section.name, static_cast<std::int64_t>(ordinals.size() - rows.size()),
                      fmt::format("at time {} it has values for {} {}, which the mesh lacks",
                                  section.time, section.place == Place::Node ? "node" : "element",
                                  section.members[static_cast<std::size_t>(missing)]));
    }
    const auto ordinal = [&](std::size_t row) { return ordinals[row]; };
    // Stable, so that the last values of a member in the file stay last.
    std::ranges::stable_sort(rows, {}, ordinal);
    std::vector<int> members;
    std::vector<double> values;
    std::int64_t nRepeated = 0;
    const std::size_t n = section.NumOfMember();
    for (const std::size_t row : rows) {
        if (!members.empty() && members.back() == ordinals[row]) {
            values.resize(values.size() - n);
            ++nRepeated;
        } else {
            members.push_back(ordinals[row]);
        }
        const auto first = section.values.begin() + static_cast<std::ptrdiff_t>(row * n);
        values.insert(values.end(), first, first + static_cast<std::ptrdiff_t>(n));
    }
    if (nRepeated > 0) {
        m_losses.Change(
            kind, section.name, nRepeated,
            fmt::format("at time {} values are given twice; the last ones count", section.time));
    }
    section.members = std::move(members);
    section.values = std::move(values);
}

/// Turns Gmsh's order of an element's nodes into ours. An element with another number of values
/// than nodes is left out.
void GmshResults::PutNodesInOrder(Section& section, const ShapeOf& shapeOf) {
    std::vector<int> members;
    std::vector<double> values;
    const auto n = static_cast<std::size_t>(section.nComponents);
    for (std::size_t row = 0; row < section.members.size(); ++row) {
        const ORQExcShape& shape = shapeOf(section.members[row]);
        if (shape.nNodes != section.nNodes) {
            continue;
        }
        members.push_back(section.members[row]);
        for (std::size_t k = 0; k < static_cast<std::size_t>(shape.nNodes); ++k) {
            const std::size_t from =
                shape.gmshOrder.empty() ? k : static_cast<std::size_t>(shape.gmshOrder[k]);
            const auto first = section.values.begin() +
                               static_cast<std::ptrdiff_t>(row * section.NumOfMember() + from * n);
            values.insert(values.end(), first, first + section.nComponents);
        }
    }
    if (const auto nLeft = section.members.size() - members.size(); nLeft > 0) {
        m_losses.Drop("$ElementNodeData", section.name, static_cast<std::int64_t>(nLeft),
                      fmt::format("at time {} it has values at {} nodes of elements that have "
                                  "another number of them",
                                  section.time, section.nNodes));
    }
    section.members = std::move(members);
    section.values = std::move(values);
}

bool GmshResults::HasValues(std::size_t array, int time, const std::vector<int>& members) const {
    return std::ranges::any_of(m_contents[array].sectionAt, [&](const auto& sectionAt) {
        const auto found = sectionAt.find(time);
        return found != sectionAt.end() && Intersect(m_sections[found->second].members, members);
    });
}

std::size_t GmshResults::NewArray(const Section& section) {
    std::string name = section.name;
    const auto isTaken = [&](const ORQExcResultArray& array) {
        return array.place == section.place && array.name == name;
    };
    for (int i = 2; std::ranges::any_of(m_arrays, isTaken); ++i) {
        name = fmt::format("{} ({})", section.name, i);
    }
    if (name != section.name) {
        m_losses.Change(KindOf(section.place), name, 1,
                        fmt::format("the name \"{}\" has values at time {} already", section.name,
                                    section.time));
    }
    m_arrays.push_back({section.place,
                        name,
                        ComponentNames(name, section.nComponents),
                        {},
                        section.nNodes == 0 ? ORQExcResultArray::Within::Whole
                                            : ORQExcResultArray::Within::Nodes});
    m_contents.push_back({});
    return m_arrays.size() - 1;
}

void GmshResults::AddToArray(std::size_t number) {
    const Section& section = m_sections[number];
    const int time =
        static_cast<int>(std::ranges::lower_bound(m_times, section.time) - m_times.begin());
    // A field may be split into sections of different members; a second value of one member at one
    // time needs another array.
    std::size_t place = 0;
    while (place < m_arrays.size() &&
           (m_arrays[place].place != section.place ||
            m_sections[m_contents[place].last].name != section.name ||
            m_sections[m_contents[place].last].nComponents != section.nComponents ||
            (m_sections[m_contents[place].last].nNodes == 0) != (section.nNodes == 0) ||
            HasValues(place, time, section.members))) {
        ++place;
    }
    if (place == m_arrays.size()) {
        place = NewArray(section);
    } else if (const Section& last = m_sections[m_contents[place].last];
               section.timeStep > last.timeStep && section.time < last.time) {
        m_losses.Note(KindOf(section.place), section.name, 1,
                      fmt::format("time {} of time step {} does not rise above the {} of time "
                                  "step {}",
                                  section.time, section.timeStep, last.time, last.timeStep));
    }
    ORQExcResultArray& array = m_arrays[place];
    Contents& contents = m_contents[place];
    contents.last = number;
    if (section.members.empty()) {
        return;
    }
    // Sections of the same members at other times are one part.
    std::size_t part = 0;
    while (part < array.parts.size() &&
           (contents.sectionAt[part].contains(time) ||
            m_sections[contents.sectionAt[part].begin()->second].nNodes != section.nNodes ||
            m_sections[contents.sectionAt[part].begin()->second].members != section.members)) {
        ++part;
    }
    if (part == array.parts.size()) {
        array.parts.push_back({{}, 0, 0, section.members, section.nNodes});
        contents.sectionAt.emplace_back();
    }
    contents.sectionAt[part][time] = number;
    array.parts[part].times.clear();
    for (const auto& [at, unused] : contents.sectionAt[part]) {
        array.parts[part].times.push_back(at);
    }
}

void GmshResults::ReadResult(int number, int part, int begin, int end, std::span<double> values) {
    const auto place = static_cast<std::size_t>(number);
    const ORQExcResultArray::Part& from = m_arrays[place].parts[static_cast<std::size_t>(part)];
    const auto& sectionAt = m_contents[place].sectionAt[static_cast<std::size_t>(part)];
    auto to = values.begin();
    for (int i = begin; i < end; ++i) {
        const Section& section = m_sections[sectionAt.at(from.times[static_cast<std::size_t>(i)])];
        to = std::ranges::copy(section.values, to).out;
    }
}

}  // namespace orq::exchange
