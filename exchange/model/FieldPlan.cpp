#include "model/FieldPlan.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "ORQSimSchema.h"
#include "ORQSrvVariableMap.h"
#include "ads_ComponentSymbolsEnm.h"

namespace orq::exchange {
namespace {

using Place = ORQExcResultArray::Place;

struct Suffix {
    std::string_view text;
    int code;  // ads_ComponentSymbolsEnm
};

// The codes of the table of output variables; a symmetric tensor has the first of its two.
constexpr std::array<Suffix, 3> kVector = {{{"x", 0}, {"y", 12}, {"z", 20}}};
constexpr std::array<Suffix, 9> kTensor = {{{"xx", 1},
                                            {"xy", 5},
                                            {"xz", 10},
                                            {"yx", 13},
                                            {"yy", 14},
                                            {"yz", 18},
                                            {"zx", 21},
                                            {"zy", 22},
                                            {"zz", 23}}};

/// The field types that suit an array, the best first; the first one is also for variables that the
/// table lacks.
std::span<const int> GridTypes(const ORQExcResultArray& array) {
    using namespace ORQSimSchema;
    using Within = ORQExcResultArray::Within;
    static const std::array<int, 1> node = {Field_Nodal};
    static const std::array<int, 4> element = {Field_WholeElement, Field_WholeElementEnergy,
                                               Field_ElementCentroid, Field_ElementAverage};
    static const std::array<int, 2> layers = {Field_ElementCentroid, Field_WholeElement};
    static const std::array<int, 1> points = {Field_IntegrationPoint};
    static const std::array<int, 1> nodes = {Field_ElementNodal};
    static const std::array<int, 2> faces = {Field_ElementFace, Field_WholeElementFace};
    static const std::array<int, 4> model = {Field_WholeModel, Field_WholeModelEnergy,
                                             Field_WholeModelMass, Field_GlobalHistory};
    switch (array.within) {
        case Within::IntegrationPoints:
            return points;
        case Within::Nodes:
            return nodes;
        case Within::Faces:
            return faces;
        case Within::Whole:
            break;
    }
    switch (array.place) {
        case Place::Node:
            return node;
        case Place::Element:
            return array.hasLayers ? std::span<const int>(layers) : element;
        case Place::Model:
            break;
    }
    return model;
}

/// The record of a label on the best of the field types that suit an array; null when there is
/// none.
const ORQSrvVariableStruct* FindVariable(const std::string& label, const ORQExcResultArray& array) {
    for (const int gridType : GridTypes(array)) {
        for (int i = 0; ORQSrvVariableMap::GetEntry(i).label != nullptr; ++i) {
            const ORQSrvVariableStruct& entry = ORQSrvVariableMap::GetEntry(i);
            if (entry.fragmentType == gridType && label == entry.label) {
                return &entry;
            }
        }
    }
    return nullptr;
}

/// The label of a whole variable.
std::string VariableLabel(const ORQSrvVariableStruct& component) {
    for (int i = 0; ORQSrvVariableMap::GetEntry(i).label != nullptr; ++i) {
        const ORQSrvVariableStruct& entry = ORQSrvVariableMap::GetEntry(i);
        if (entry.fragmentType == component.fragmentType && entry.component == ads_ComponentNone &&
            std::string_view(entry.identifier) == component.identifier) {
            return entry.label;
        }
    }
    return component.identifier;
}

/// A name that ends in the name of a component.
struct ComponentName {
    std::string base;
    bool isTensor;
    std::string suffix;  // in small letters
};

std::optional<ComponentName> SplitName(const std::string& name) {
    const std::size_t bar = name.rfind('_');
    if (bar == std::string::npos || bar == 0) {
        return {};
    }
    std::string suffix = name.substr(bar + 1);
    std::ranges::transform(suffix, suffix.begin(), [](char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    });
    const bool isTensor = std::ranges::count(kTensor, suffix, &Suffix::text) != 0;
    if (!isTensor && std::ranges::count(kVector, suffix, &Suffix::text) == 0) {
        return {};
    }
    return ComponentName{name.substr(0, bar), isTensor, suffix};
}

class Planner {
  public:
    explicit Planner(std::span<const ORQExcResultArray> arrays)
        : m_arrays(arrays), m_isPlanned(arrays.size(), false) {}

    std::vector<FieldPlan> Plan() {
        std::vector<FieldPlan> plans;
        for (std::size_t i = 0; i < m_arrays.size(); ++i) {
            if (m_isPlanned[i]) {
                continue;
            }
            FieldPlan plan = PlanAt(i);
            if (plan.arrays.empty()) {
                const bool isWhole = m_arrays[i].components.size() == plan.components.size();
                plan.arrays.resize(isWhole ? 1 : plan.components.size());
                std::iota(plan.arrays.begin(), plan.arrays.end(), static_cast<int>(i));
            }
            for (const int array : plan.arrays) {
                m_isPlanned[static_cast<std::size_t>(array)] = true;
            }
            plan.name = Unique(plan.place, plan.name);
            plan.hasLayers = m_arrays[i].hasLayers;
            plan.arrayNames = m_arrays[i].arrayNames;
            plan.axes = m_arrays[i].axes;
            plans.push_back(std::move(plan));
        }
        return plans;
    }

  private:
    /// Returns a name that no other field of the place has. Components that do not follow each
    /// other become several fields, which would share their name.
    std::string Unique(Place place, const std::string& name) {
        std::string unique = name;
        for (int i = 2; !m_names.emplace(place, unique).second; ++i) {
            unique = fmt::format("{} ({})", name, i);
        }
        return unique;
    }

    FieldPlan PlanAt(std::size_t first) const {
        const ORQExcResultArray& array = m_arrays[first];
        if (!array.field.empty()) {
            return ByName(first);
        }
        if (array.components.size() > 1) {
            return Several(array);
        }
        if (const ORQSrvVariableStruct* variable = FindVariable(array.name, array)) {
            return Standard(first, *variable);
        }
        return BySuffix(first);
    }

    /// Whether an array may belong to the field that the first one began.
    bool Continues(std::size_t first, std::size_t next) const {
        return next < m_arrays.size() && m_arrays[next].components.size() == 1 &&
               m_arrays[next].place == m_arrays[first].place &&
               m_arrays[next].within == m_arrays[first].within &&
               m_arrays[next].arrayNames == m_arrays[first].arrayNames &&
               m_arrays[next].field == m_arrays[first].field && !m_isPlanned[next] &&
               m_arrays[next].parts == m_arrays[first].parts;
    }

    /// The field that the arrays name themselves.
    FieldPlan ByName(std::size_t first) const {
        const ORQExcResultArray& array = m_arrays[first];
        FieldPlan plan = Plain(array, array.field, {});
        for (std::size_t i = first; i < m_arrays.size(); ++i) {
            if (m_arrays[i].field == array.field) {
                plan.components.push_back({m_arrays[i].code, m_arrays[i].name});
                plan.arrays.push_back(static_cast<int>(i));
            }
        }
        return plan;
    }

    FieldPlan Standard(std::size_t first, const ORQSrvVariableStruct& variable) const {
        FieldPlan plan{m_arrays[first].place,
                       variable.component == ads_ComponentNone ? m_arrays[first].name
                                                               : VariableLabel(variable),
                       variable.identifier,
                       variable.fragmentType,
                       {{variable.component, m_arrays[first].name}},
                       {}};
        for (std::size_t i = first + 1;
             variable.component != ads_ComponentNone && Continues(first, i); ++i) {
            const ORQSrvVariableStruct* next = FindVariable(m_arrays[i].name, m_arrays[first]);
            if (next == nullptr || plan.identifier != next->identifier ||
                next->fragmentType != plan.gridType || next->component == ads_ComponentNone ||
                HasCode(plan, next->component)) {
                break;
            }
            plan.components.push_back({next->component, m_arrays[i].name});
        }
        return plan;
    }

    static bool HasCode(const FieldPlan& plan, int code) {
        return std::ranges::count(plan.components, code, &ORQObjFieldDefinition::Component::code) !=
               0;
    }

    FieldPlan BySuffix(std::size_t first) const {
        const ORQExcResultArray& array = m_arrays[first];
        std::vector<std::string> suffixes;
        std::string base;
        for (std::size_t i = first; i == first || Continues(first, i); ++i) {
            const auto name = SplitName(m_arrays[i].name);
            // A group begins with x, and its suffixes have one length: vectors and tensors do not
            // mix.
            const bool goesOn =
                name && (suffixes.empty() ? name->suffix.front() == 'x' : name->base == base) &&
                (suffixes.empty() || name->suffix.size() == suffixes[0].size()) &&
                std::ranges::count(suffixes, name->suffix) == 0;
            if (!goesOn) {
                break;
            }
            base = name->base;
            suffixes.push_back(name->suffix);
        }
        if (suffixes.size() < 2) {
            return Plain(array, array.name, {{ads_ComponentNone, array.name}});
        }
        std::vector<ORQObjFieldDefinition::Component> components;
        for (std::size_t k = 0; k < suffixes.size(); ++k) {
            components.push_back({CodeOf(suffixes[k], suffixes), m_arrays[first + k].name});
        }
        return Plain(array, base, std::move(components));
    }

    /// Returns the code of a suffix. One of a symmetric pair stands for both, with the code of the
    /// upper one (xz of zx), unless both are there.
    static int CodeOf(const std::string& suffix, const std::vector<std::string>& all) {
        if (suffix.size() == 1) {
            return std::ranges::find(kVector, suffix, &Suffix::text)->code;
        }
        const std::string turned(suffix.rbegin(), suffix.rend());
        const std::string& upper =
            turned < suffix && std::ranges::count(all, turned) == 0 ? turned : suffix;
        return std::ranges::find(kTensor, upper, &Suffix::text)->code;
    }

    static FieldPlan Several(const ORQExcResultArray& array) {
        std::vector<ORQObjFieldDefinition::Component> components;
        const std::vector<int> codes = CodesOf(array);
        for (std::size_t k = 0; k < codes.size(); ++k) {
            components.push_back({codes[k], array.components[k]});
        }
        return Plain(array, array.name, std::move(components));
    }

    /// Takes codes from the names of the components where all have one. Else three are a vector,
    /// nine a tensor row by row, and others have no code.
    static std::vector<int> CodesOf(const ORQExcResultArray& array) {
        const std::size_t n = array.components.size();
        std::vector<int> codes;
        std::vector<std::string> suffixes;
        for (const std::string& component : array.components) {
            if (const auto name = SplitName(component)) {
                suffixes.push_back(name->suffix);
            }
            const ORQSrvVariableStruct* const variable = FindVariable(component, array);
            codes.push_back(variable == nullptr ? ads_ComponentNone : variable->component);
        }
        if (suffixes.size() == n && EachOnce(suffixes)) {
            for (std::size_t k = 0; k < n; ++k) {
                codes[k] = CodeOf(suffixes[k], suffixes);
            }
        } else if (std::ranges::count(codes, ads_ComponentNone) != 0) {
            for (std::size_t k = 0; k < n; ++k) {
                codes[k] = n <= 2                ? kVector.at(k).code
                           : n == kVector.size() ? kVector.at(k).code
                           : n == kTensor.size() ? kTensor.at(k).code
                                                 : ads_ComponentNone;
            }
        }
        MakeUnique(codes);
        return codes;
    }

    /// A field has each code once: what names do not tell apart gets codes that are free, those of
    /// vectors and tensors last.
    static void MakeUnique(std::vector<int>& codes) {
        std::set<int> taken(codes.begin(), codes.end());
        std::set<int> seen;
        int next = ads_ComponentNone;
        for (int& code : codes) {
            if (seen.insert(code).second) {
                continue;
            }
            while (next > 0 && taken.contains(next)) {
                --next;
            }
            taken.insert(next);
            code = next;
            seen.insert(code);
        }
    }

    static bool EachOnce(std::vector<std::string> names) {
        std::ranges::sort(names);
        return std::ranges::adjacent_find(names) == names.end();
    }

    static FieldPlan Plain(const ORQExcResultArray& array, const std::string& name,
                           std::vector<ORQObjFieldDefinition::Component> components) {
        const ORQSrvVariableStruct* variable = FindVariable(name, array);
        const bool isStandard = variable != nullptr && variable->component == ads_ComponentNone;
        return {array.place,
                name,
                isStandard ? variable->identifier : "",
                isStandard ? variable->fragmentType : GridTypes(array).front(),
                std::move(components),
                {}};
    }

    std::span<const ORQExcResultArray> m_arrays;
    std::vector<bool> m_isPlanned;
    std::set<std::pair<Place, std::string>> m_names;
};

}  // namespace

std::vector<FieldPlan> PlanFields(std::span<const ORQExcResultArray> arrays) {
    return Planner(arrays).Plan();
}

std::string FieldOfComponent(const std::string& name) {
    ORQExcResultArray array{Place::Element, name, {name}, {}};
    array.within = ORQExcResultArray::Within::IntegrationPoints;
    const ORQSrvVariableStruct* const variable = FindVariable(name, array);
    if (variable != nullptr) {
        return variable->component == ads_ComponentNone ? "" : variable->identifier;
    }
    const auto component = SplitName(name);
    return component ? component->base : "";
}

}  // namespace orq::exchange
