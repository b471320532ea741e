#include "model/PointArrays.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "ORQExcImportError.h"
#include "ORQExcPointRules.h"
#include "model/FieldPlan.h"

namespace orq::exchange {
namespace {

using Within = ORQExcResultArray::Within;

bool HavePlace(const ORQExcResultArray::Part& a, const ORQExcResultArray::Part& b) {
    return a.first == b.first && a.count == b.count && a.members == b.members;
}

bool HaveCounts(const ORQExcResultArray& a, const ORQExcResultArray& b) {
    return a.parts == b.parts;
}

int Faces(const ORQExcShape& shape) {
    return static_cast<int>(std::ranges::count_if(shape.sides, [&](const ORQExcShape::Side& side) {
        return shape.dimension < 3 || !side.IsEdge();
    }));
}

bool CanHave(const ORQExcShape& shape, Within within, int nPoints) {
    switch (within) {
        case Within::IntegrationPoints:
            return ORQExcCanHavePoints(shape, nPoints);
        case Within::Nodes:
            return nPoints == shape.nNodes;
        case Within::Faces:
            return nPoints == Faces(shape);
        case Within::Whole:
            break;
    }
    return nPoints == 0;
}

const char* NameOf(Within within) {
    switch (within) {
        case Within::IntegrationPoints:
            return "integration points";
        case Within::Nodes:
            return "nodes";
        case Within::Faces:
            return "faces";
        case Within::Whole:
            break;
    }
    return "values";
}

}  // namespace

PointArrays::PointArrays(ORQExcResultSource& source, const ShapesOf& shapesOf,
                         const ORQExcResultsMap* map, ORQExcReport& report)
    : m_source(source),
      m_shapesOf(shapesOf),
      m_report(report),
      m_isTaken(source.Arrays().size(), false) {
    if (map != nullptr) {
        TakeRules(*map);
    }
    TakeOurNames();
    for (const char* const numbered :
         {"{component}_{point}", "{component}_{point:02}", "{component}_{point:03}"}) {
        TakeNumberedNames(ArrayPattern(numbered));
    }
    PutTogether();
}

// --- Which arrays belong together ----------------------------------------------------------------

/// The arrays that follow a pattern and are not taken yet, by component, in the order of the file.
std::vector<PointArrays::Group> PointArrays::FindGroups(const ArrayPattern& pattern) const {
    std::vector<Group> groups;
    std::map<std::string, std::size_t> groupOf;
    for (std::size_t i = 0; i < m_source.Arrays().size(); ++i) {
        const ORQExcResultArray& array = m_source.Arrays()[i];
        if (m_isTaken[i] || array.place != ORQExcResultArray::Place::Element ||
            array.within != Within::Whole) {
            continue;
        }
        const auto reading = pattern.Read(array.name);
        if (!reading) {
            continue;
        }
        const auto [at, isNew] = groupOf.try_emplace(reading->component, groups.size());
        if (isNew) {
            groups.push_back({reading->component, {}, {}});
        }
        groups[at->second].arrays.push_back(static_cast<int>(i));
        groups[at->second].spots.push_back(reading->spot);
    }
    return groups;
}

/// Finds the elements that have values of a group, and which arrays have them where. Says what keeps
/// the arrays apart; empty when nothing does.
std::string PointArrays::FindParts(const Group& group, bool hasLayers,
                                   std::vector<Found>& found) const {
    const std::vector<ORQExcResultArray>& arrays = m_source.Arrays();
    const ORQExcResultArray& first = arrays[static_cast<std::size_t>(group.arrays.front())];
    for (std::size_t i = 0; i < group.arrays.size(); ++i) {
        const ORQExcResultArray& array = arrays[static_cast<std::size_t>(group.arrays[i])];
        if (array.components.size() != first.components.size()) {
            return fmt::format("{} and {} have different components", first.name, array.name);
        }
        ORQExcSpot spot = group.spots[i];
        if (hasLayers) {
            // Names with layers alone are of the one section point of each, and the other way round.
            spot.layer = std::max(0, spot.layer);
            spot.sectionPoint = std::max(0, spot.sectionPoint);
        }
        for (std::size_t part = 0; part < array.parts.size(); ++part) {
            auto at = std::ranges::find_if(found, [&](const Found& other) {
                return HavePlace(other.part, array.parts[part]);
            });
            if (at == found.end()) {
                at = found.insert(at, {array.parts[part], {}});
            }
            if (at->part.times != array.parts[part].times) {
                return fmt::format("{} has values at other times", array.name);
            }
            if (!at->origins.try_emplace(spot, Origin{group.arrays[i], static_cast<int>(part)})
                     .second) {
                return fmt::format("{} is there twice", array.name);
            }
        }
    }
    return "";
}

/// Counts what a part has of each; says so when some of it is missing.
std::string PointArrays::Count(Found& found) {
    ORQExcSpot last;
    for (const auto& [spot, unused] : found.origins) {
        last.layer = std::max(last.layer, spot.layer);
        last.sectionPoint = std::max(last.sectionPoint, spot.sectionPoint);
        last.point = std::max(last.point, spot.point);
    }
    // Numbers of names are unbounded, and their product must not overflow.
    const auto most = static_cast<std::int64_t>(found.origins.size());
    if (last.layer >= most || last.sectionPoint >= most || last.point >= most ||
        (last.layer + std::int64_t{1} + (last.layer < 0)) *
                (last.sectionPoint + std::int64_t{1} + (last.sectionPoint < 0)) *
                (last.point + std::int64_t{1} + (last.point < 0)) !=
            most) {
        return fmt::format("the numbers of its {} arrays have gaps", most);
    }
    found.part.nLayers = last.layer + 1;
    found.part.nSectionPoints = last.sectionPoint + 1;
    found.part.nPoints = last.point + 1;
    return "";
}

/// Puts a group together; `problem` says why it cannot be one array, and is empty when it can.
PointArrays::Merged PointArrays::Merge(const Group& group, const Convention& convention,
                                       std::string& problem) const {
    const ORQExcResultArray& first =
        m_source.Arrays()[static_cast<std::size_t>(group.arrays.front())];
    const bool hasLayers = convention.pattern.HasLayers() || convention.pattern.HasSectionPoints();
    Merged merged{{first.place,
                   group.component,
                   {},
                   {},
                   convention.within,
                   hasLayers,
                   convention.pattern.Text()},
                  {}};
    for (const std::string& component : first.components) {
        const auto reading = convention.pattern.Read(component);
        merged.array.components.push_back(reading ? reading->component : component);
    }
    std::vector<Found> found;
    problem = FindParts(group, hasLayers, found);
    for (Found& one : found) {
        if (problem.empty()) {
            problem = Count(one);
        }
        merged.array.parts.push_back(one.part);
        std::vector<Origin>& origins = merged.origins.emplace_back();
        for (const auto& [spot, origin] : one.origins) {  // by layer, section point and point
            origins.push_back(origin);
        }
    }
    if (problem.empty()) {
        problem = CheckCounts(merged);
    }
    return merged;
}

/// Says which shape cannot have the points; empty when, of each part, some shape can.
std::string PointArrays::CheckCounts(const Merged& merged) const {
    for (const Part& part : merged.array.parts) {
        // Some formats have no blocks: an array then runs over elements that have no values of it.
        const std::vector<const ORQExcShape*> shapes = m_shapesOf(part);
        const bool canHave = std::ranges::any_of(shapes, [&](const ORQExcShape* shape) {
            return CanHave(*shape, merged.array.within, part.nPoints);
        });
        if (!canHave && !shapes.empty()) {
            return fmt::format("a {} cannot have {} {}", shapes.front()->name, part.nPoints,
                               NameOf(merged.array.within));
        }
    }
    return "";
}

void PointArrays::Take(const Group& group, Merged merged) {
    for (const int array : group.arrays) {
        m_isTaken[static_cast<std::size_t>(array)] = true;
    }
    m_mergedAt.insert_or_assign(group.arrays.front(), std::move(merged));
}

void PointArrays::Note(const Group& group, const std::string& problem) {
    const ORQExcResultArray& first =
        m_source.Arrays()[static_cast<std::size_t>(group.arrays.front())];
    m_report.Note(ORQExcFieldKind(first.place), group.component, std::ssize(group.arrays),
                  fmt::format("its arrays {} to {} stay as they are: {}", first.name,
                              m_source.Arrays()[static_cast<std::size_t>(group.arrays.back())].name,
                              problem));
}

// --- By rules of the user ------------------------------------------------------------------------

void PointArrays::TakeRules(const ORQExcResultsMap& map) {
    for (std::size_t i = 0; i < map.Rules().size(); ++i) {
        TakeRule(map, i);
    }
}

void PointArrays::TakeRule(const ORQExcResultsMap& map, std::size_t number) {
    const ORQExcResultsMap::Rule& rule = map.Rules()[number];
    const std::string where = fmt::format("/fields/{}/arrays", number);
    const Convention convention{ArrayPattern(rule.arrays), rule.within};
    std::vector<Group> groups = FindGroups(convention.pattern);
    std::vector<Part> parts;  // of the first component
    for (const ORQExcResultsMap::Rule::Component& component : rule.components) {
        const auto group = std::ranges::find(groups, component.name, &Group::component);
        if (group == groups.end()) {
            throw ORQExcImportError(
                map.Path(), where,
                fmt::format("the file has no element results called \"{}\", of component \"{}\"",
                            rule.arrays, component.name));
        }
        std::string problem;
        Merged merged = Merge(*group, convention, problem);
        if (!problem.empty()) {
            throw ORQExcImportError(map.Path(), where,
                                    fmt::format("field \"{}\", component \"{}\": {}", rule.field,
                                                component.name, problem));
        }
        if (merged.array.components.size() != 1) {
            throw ORQExcImportError(map.Path(), where,
                                    fmt::format("\"{}\" has {} components in one array; a rule is "
                                                "for arrays of one",
                                                merged.array.name, merged.array.components.size()));
        }
        if (parts.empty()) {
            parts = merged.array.parts;
        } else if (merged.array.parts != parts) {
            throw ORQExcImportError(
                map.Path(), where,
                fmt::format("field \"{}\": components \"{}\" and \"{}\" have values in different "
                            "blocks, layers, points or times",
                            rule.field, rule.components.front().name, component.name));
        }
        merged.array.field = rule.field;
        merged.array.code = component.code;
        merged.array.axes = rule.axes;
        // A field without a component in its names has one, of its own name.
        merged.array.name = component.name.empty() ? rule.field : component.name;
        merged.array.components = {merged.array.name};
        Take(*group, std::move(merged));
    }
}

// --- By names ------------------------------------------------------------------------------------

void PointArrays::TakeOurNames() {
    const std::pair<const char*, Within> conventions[] = {
        {"{component}_layer{layer}_sp{section_point}_node{point}", Within::Nodes},
        {"{component}_layer{layer}_sp{section_point}_face{point}", Within::Faces},
        {"{component}_layer{layer}_sp{section_point}_{point}", Within::IntegrationPoints},
        {"{component}_layer{layer}_sp{section_point}", Within::Whole},
        {"{component}_node{point}", Within::Nodes},
        {"{component}_face{point}", Within::Faces}};
    for (const auto& [pattern, within] : conventions) {
        const Convention convention{ArrayPattern(pattern), within};
        for (const Group& group : FindGroups(convention.pattern)) {
            std::string problem;
            Merged merged = Merge(group, convention, problem);
            problem.empty() ? Take(group, std::move(merged)) : Note(group, problem);
        }
    }
}

void PointArrays::TakeNumberedNames(const ArrayPattern& pattern) {
    struct Candidate {
        Group group;
        Merged merged;
        std::string problem;
        std::string base;  // of the tensor or vector of which it is a component; else empty
    };
    const Convention convention{pattern, Within::IntegrationPoints};
    std::vector<Candidate> candidates;
    for (Group& group : FindGroups(pattern)) {
        if (group.arrays.size() < 2) {
            continue;  // one value an element is no point
        }
        Candidate candidate{std::move(group), {}, "", ""};
        candidate.merged = Merge(candidate.group, convention, candidate.problem);
        candidate.base = candidate.merged.array.components.size() > 1
                             ? candidate.group.component
                             : FieldOfComponent(candidate.group.component);
        candidates.push_back(std::move(candidate));
    }
    // All components of a field, or none: one that cannot be points keeps the others apart too.
    std::map<std::string, std::string> problemOf;
    std::map<std::string, const Candidate*> firstOf;
    for (const Candidate& candidate : candidates) {
        if (candidate.base.empty()) {
            continue;
        }
        const Candidate& first = *firstOf.try_emplace(candidate.base, &candidate).first->second;
        std::string& problem = problemOf[candidate.base];
        if (problem.empty()) {
            problem = !candidate.problem.empty() ? candidate.problem
                      : HaveCounts(first.merged.array, candidate.merged.array)
                          ? ""
                          : fmt::format("{} and {} do not have the same points",
                                        first.group.component, candidate.group.component);
        }
    }
    const auto isBesideTensor = [&](const Candidate& candidate) {
        return std::ranges::any_of(candidates, [&](const Candidate& other) {
            return !other.base.empty() && problemOf[other.base].empty() &&
                   HaveCounts(other.merged.array, candidate.merged.array);
        });
    };
    for (Candidate& candidate : candidates) {
        if (!candidate.base.empty()) {
            const std::string& problem = problemOf[candidate.base];
            // Copied: those that follow are compared with it.
            problem.empty() ? Take(candidate.group, Merged(candidate.merged))
                            : Note(candidate.group, problem);
        } else if (candidate.problem.empty()) {
            // A number may count anything: points are what a tensor beside has as many of.
            isBesideTensor(candidate)
                ? Take(candidate.group, Merged(candidate.merged))
                : Note(candidate.group,
                       "they may be points, and nothing else says so; a results map can");
        }
    }
}

// --- What they become ----------------------------------------------------------------------------

/// Puts each array where the first one of its source stands.
void PointArrays::PutTogether() {
    for (std::size_t i = 0; i < m_source.Arrays().size(); ++i) {
        const auto merged = m_mergedAt.find(static_cast<int>(i));
        if (merged != m_mergedAt.end()) {
            m_arrays.push_back(std::move(merged->second.array));
            m_origins.push_back(std::move(merged->second.origins));
        } else if (!m_isTaken[i]) {
            m_arrays.push_back(m_source.Arrays()[i]);
            std::vector<std::vector<Origin>>& origins = m_origins.emplace_back();
            for (std::size_t part = 0; part < m_arrays.back().parts.size(); ++part) {
                origins.push_back({{static_cast<int>(i), static_cast<int>(part)}});
            }
        }
    }
    m_mergedAt.clear();
}

template <class ReadOne>
void PointArrays::Gather(int array, int part, std::int64_t nTimes, std::int64_t nMembers,
                         std::span<double> values, const ReadOne& readOne) {
    const ORQExcResultArray& made = m_arrays[static_cast<std::size_t>(array)];
    const Part& of = made.parts[static_cast<std::size_t>(part)];
    const std::vector<Origin>& origins =
        m_origins[static_cast<std::size_t>(array)][static_cast<std::size_t>(part)];
    if (origins.size() == 1) {
        return readOne(origins.front(), values);
    }
    // Origins are [layer][section point][point], the values [time][layer][section point][member]
    // [point][component].
    const auto nComponents = static_cast<std::int64_t>(made.components.size());
    const auto nPoints = static_cast<std::int64_t>(std::max(1, of.nPoints));
    const auto nOrigins = static_cast<std::int64_t>(origins.size());
    const std::int64_t nStacked = nOrigins / nPoints;
    m_one.resize(static_cast<std::size_t>(nTimes * nMembers * nComponents));
    for (std::int64_t origin = 0; origin < nOrigins; ++origin) {
        readOne(origins[static_cast<std::size_t>(origin)], std::span(m_one));
        const double* from = m_one.data();
        for (std::int64_t time = 0; time < nTimes; ++time) {
            double* to =
                values.data() +
                (((time * nStacked + origin / nPoints) * nMembers) * nPoints + origin % nPoints) *
                    nComponents;
            for (std::int64_t member = 0; member < nMembers; ++member) {
                std::copy_n(from, nComponents, to);
                from += nComponents;
                to += nPoints * nComponents;
            }
        }
    }
}

void PointArrays::ReadResult(int array, int part, int begin, int end, std::span<double> values) {
    const Part& of =
        m_arrays[static_cast<std::size_t>(array)].parts[static_cast<std::size_t>(part)];
    Gather(array, part, end - begin, of.NumMembers(), values,
           [&](const Origin& origin, std::span<double> to) {
               m_source.ReadResult(origin.array, origin.part, begin, end, to);
           });
}

void PointArrays::ReadMembers(int array, int part, int time, int first, int count,
                              std::span<double> values) {
    Gather(array, part, 1, count, values, [&](const Origin& origin, std::span<double> to) {
        m_source.ReadMembers(origin.array, origin.part, time, first, count, to);
    });
}

}  // namespace orq::exchange
