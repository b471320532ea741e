#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "ORQExcLayup.h"
#include "ORQExcSections.h"
#include "compare/ComparedModels.h"
#include "compare/Pairs.h"
#include "model/NoValue.h"

namespace orq::exchange {
namespace {

using Section = ORQExcSections::Section;
using Layer = ORQExcSections::Layer;
using Value = ORQExcSections::Value;

std::string TextOf(const Value& value) {
    switch (value.numbers.size()) {
        case 0:
            return "none";
        case 1:
            return NumberText(value.numbers[0]);
        default:
            return "by element";
    }
}

/// The layers of a section in both models.
class Stacks {
  public:
    Stacks(ComparedModels& models, const ORQExcSections& before, const Section& from,
           const ORQExcSections& after, const Section& to)
        : m_models(models),
          m_from(from),
          m_to(to),
          m_before(before.Read(from)),
          m_after(after.Read(to)) {}

    void Compare() {
        const std::size_t nLayers = std::min(m_before.layers.size(), m_after.layers.size());
        CompareTexts("number of layers", std::to_string(m_before.layers.size()),
                     std::to_string(m_after.layers.size()));
        for (std::size_t i = 0; i < nLayers; ++i) {
            const Layer& a = m_before.layers[i];
            const Layer& b = m_after.layers[i];
            const std::string of = nLayers == 1 ? "" : fmt::format(" of layer {}", i + 1);
            CompareTexts("material" + of, a.material, b.material);
            CompareTexts("orientation" + of, a.orientation, b.orientation);
            CompareTexts("ply" + of, a.ply, b.ply);
            CompareTexts("section points" + of, std::to_string(a.sectionPoints),
                         std::to_string(b.sectionPoints));
            CompareValues("thickness" + of, a.thickness, b.thickness);
            CompareValues("angle" + of, a.angle, b.angle);
            m_models.differences.Compare(DifferenceKind::Section, m_from.name, "nominal angle" + of,
                                         a.nominalAngle.value_or(kNoValue),
                                         b.nominalAngle.value_or(kNoValue));
        }
    }

  private:
    void CompareTexts(const std::string& what, const std::string& a, const std::string& b) {
        m_models.differences.Compare(DifferenceKind::Section, m_from.name, what, a, b);
    }

    void CompareValues(const std::string& what, const Value& a, const Value& b) {
        if (a.numbers.size() > 1 && b.numbers.size() > 1) {
            CompareByElement(what, a, b);
        } else if (a.numbers.size() == 1 && b.numbers.size() == 1) {
            m_models.differences.Compare(DifferenceKind::Section, m_from.name, what, a.numbers[0],
                                         b.numbers[0]);
        } else {
            CompareTexts(what, TextOf(a), TextOf(b));
        }
    }

    /// Compares the values of elements that have the section in both models. Values stand in the
    /// order of the elements.
    void CompareByElement(const std::string& what, const Value& a, const Value& b) {
        std::vector<ORQExcDifference::Member> members;
        std::pair<double, double> largest;
        std::size_t place = 0;
        for (ORQSimCSetIterator element(m_from.elements); !element.IsDone(); element.Next()) {
            const double before = a.At(place++);
            const int image = m_models.elements.ImageOf(element.CurrentValue());
            const int other = image == Matching::kNone ? -1 : m_to.elements.SeekMember(image);
            if (other < 0) {
                continue;
            }
            const double after = b.At(static_cast<std::size_t>(other));
            if (m_models.differences.AreEqual(before, after)) {
                continue;
            }
            members.push_back(m_models.elements.Before(element.CurrentValue()));
            members.back().amount = std::abs(after - before);
            if (members.size() == 1 ||
                members.back().amount > std::abs(largest.second - largest.first)) {
                largest = {before, after};
            }
        }
        if (!members.empty()) {
            m_models.differences.AddMembers(DifferenceKind::Section,
                                            ORQExcDifference::Change::Changed, m_from.name, what,
                                            std::move(members));
            m_models.differences.All().back().before = NumberText(largest.first);
            m_models.differences.All().back().after = NumberText(largest.second);
        }
    }

    ComparedModels& m_models;
    const Section& m_from;
    const Section& m_to;
    ORQExcSections::Stack m_before;
    ORQExcSections::Stack m_after;
};

/// The section that governs each element, null for none.
std::vector<const Section*> SectionOfEach(const ORQExcSections& sections, int nElements) {
    std::vector<const Section*> ofEach(static_cast<std::size_t>(nElements), nullptr);
    for (const Section& section : sections.Sections()) {
        for (ORQSimCSetIterator element(section.elements); !element.IsDone(); element.Next()) {
            ofEach[static_cast<std::size_t>(element.CurrentValue())] = &section;
        }
    }
    return ofEach;
}

std::string NameOf(const Section* section) {
    return section == nullptr ? "none" : section->name;
}

std::string BlockNameOf(const ORQExcModel& model, int element) {
    const auto block =
        std::ranges::find_if(model.Blocks(), [&](const ORQExcModel::Block& candidate) {
            return candidate.elements.SeekMember(element) >= 0;
        });
    return block == model.Blocks().end() ? "none" : block->name;
}

/// Reports elements that have another section.
void CompareAssignments(ComparedModels& models, const ORQExcSections& before,
                        const ORQExcSections& after) {
    std::map<const Section*, const Section*> partners;
    for (const Pair<Section>& pair :
         PairsOf(PointersTo(before.Sections()), PointersTo(after.Sections()),
                 models.differences.Options().byNumber)) {
        partners[pair.before] = pair.after;
    }
    partners[nullptr] = nullptr;
    const auto sectionsBefore = SectionOfEach(before, models.before.NumElements());
    const auto sectionsAfter = SectionOfEach(after, models.after.NumElements());
    std::map<std::pair<std::string, std::string>, std::vector<ORQExcDifference::Member>> changes;
    for (int element = 0; element < models.before.NumElements(); ++element) {
        const int image = models.elements.ImageOf(element);
        if (image == Matching::kNone) {
            continue;
        }
        const Section* const from = sectionsBefore[static_cast<std::size_t>(element)];
        const Section* const to = sectionsAfter[static_cast<std::size_t>(image)];
        if (partners[from] == to) {
            continue;
        }
        // A section under the name of the element's block, in both models, differs as the block
        // does, which is a difference of the elements already.
        if (NameOf(from) != BlockNameOf(models.before, element) ||
            NameOf(to) != BlockNameOf(models.after, image)) {
            changes[{NameOf(from), NameOf(to)}].push_back(models.elements.Before(element));
        }
    }
    for (auto& [names, members] : changes) {
        models.differences.AddMembers(DifferenceKind::Element, ORQExcDifference::Change::Changed,
                                      {}, "section", std::move(members));
        models.differences.All().back().before = names.first;
        models.differences.All().back().after = names.second;
    }
}

std::string DirectionText(const std::array<double, 3>& axis) {
    return fmt::format("({}, {}, {})", axis[0], axis[1], axis[2]);
}

void CompareOrientations(DifferenceList& differences, const ORQExcLayup& before,
                         const ORQExcLayup& after) {
    for (const auto& [from, to] :
         ComparePairs(DifferenceKind::Orientation, PointersTo(before.orientations),
                      PointersTo(after.orientations), differences)) {
        const auto compare = [&, &name = from->name](const char* what, const auto& a,
                                                     const auto& b) {
            const auto areEqual = [&](double x, double y) { return differences.AreEqual(x, y); };
            if (!std::ranges::equal(a, b, areEqual)) {
                differences.Compare(DifferenceKind::Orientation, name, what, DirectionText(a),
                                    DirectionText(b));
            }
        };
        compare("axis 1", from->axis1, to->axis1);
        compare("axis 2", from->axis2, to->axis2);
    }
}

/// Compares what a section has beside its layers: the constants of its card.
void CompareConstants(DifferenceList& differences, const ORQExcLayup& before,
                      const ORQExcLayup& after) {
    for (const auto& [from, to] : PairsOf(PointersTo(before.sections), PointersTo(after.sections),
                                          differences.Options().byNumber)) {
        if (from == nullptr || to == nullptr) {
            continue;
        }
        differences.Compare(DifferenceKind::Section, from->name, "kind", from->kind, to->kind);
        for (std::size_t i = 0; i < std::max(from->constants.size(), to->constants.size()); ++i) {
            const auto at = [i](const std::vector<double>& constants) {
                return i < constants.size() ? constants[i] : kNoValue;
            };
            differences.Compare(DifferenceKind::Section, from->name,
                                fmt::format("constant {}", i + 1), at(from->constants),
                                at(to->constants));
        }
    }
}

}  // namespace

void CompareSections(ComparedModels& models) {
    const ORQExcSections before(models.before.Document());
    const ORQExcSections after(models.after.Document());
    if (!before.Sections().empty() || !after.Sections().empty()) {
        CompareAssignments(models, before, after);
    }
    for (const auto& [from, to] :
         ComparePairs(DifferenceKind::Section, PointersTo(before.Sections()),
                      PointersTo(after.Sections()), models.differences)) {
        Stacks(models, before, *from, after, *to).Compare();
    }
    const ORQExcLayup layupBefore = ORQExcReadLayup(models.before.Document());
    const ORQExcLayup layupAfter = ORQExcReadLayup(models.after.Document());
    CompareConstants(models.differences, layupBefore, layupAfter);
    CompareOrientations(models.differences, layupBefore, layupAfter);
}

}  // namespace orq::exchange
