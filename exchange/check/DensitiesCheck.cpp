#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "ORQExcCheck.h"
#include "ORQExcKeptTexts.h"
#include "ORQExcLayup.h"
#include "ORQObjModel.h"
#include "ORQObjStep.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kNeeded = {
    .id = "MAT005",
    .level = ORQExcLevel::Warning,
    .title = "material without the density that the analysis needs",
    .meaning =
        "the model has a step of natural frequencies, gravity or another load by mass, and "
        "elements have a material whose density is missing or zero",
    .breaks = "those elements have no mass: frequencies are too high, and their weight is missing",
    .mending = "give the material its density"};
const ORQExcRule kPartly = {
    .id = "MAT006",
    .level = ORQExcLevel::Note,
    .title = "material without a density in a model where others have one",
    .meaning =
        "some materials of elements have a density and this one has none; whether an "
        "analysis needs it is not known",
    .breaks = "the mass of the model, and all that goes by it, lacks a part",
    .mending = "give the material its density; nothing, where its mass does not count"};

/// Cards of loads that go by mass, which bulk data keeps as text.
constexpr std::array<std::string_view, 4> kMassLoads = {"GRAV", "RFORCE", "ACCEL", "ACCEL1"};

bool HasDensity(const ORQExcLayup::Material& material) {
    const auto table =
        std::ranges::find(material.tables, "density", &ORQExcMaterialTable::property);
    return table != material.tables.end() &&
           std::ranges::any_of(table->values, [](double value) { return value > 0; });
}

/// Materials of layers that some element has, ascending. One that is only a name, without any
/// property, is described elsewhere and is left out.
std::set<int> MaterialsOfElements(const ORQExcLayup& layup) {
    std::set<int> materials;
    for (const ORQExcLayup::Assignment& assignment : layup.assignments) {
        if (assignment.section < 0) {
            continue;
        }
        for (const ORQExcLayup::Layer& layer :
             layup.sections[static_cast<std::size_t>(assignment.section)].layers) {
            if (layer.material >= 0 &&
                !layup.materials[static_cast<std::size_t>(layer.material)].tables.empty()) {
                materials.insert(layer.material);
            }
        }
    }
    return materials;
}

class DensitiesRun : public ORQExcCheckRun {
  public:
    explicit DensitiesRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        const ORQExcLayup layup =
            ORQExcReadLayup(m_model.Document(), [](const std::string& /*why*/) {});
        const std::set<int> materials = MaterialsOfElements(layup);
        std::vector<const ORQExcLayup::Material*> without;
        for (const int place : materials) {
            const ORQExcLayup::Material& material =
                layup.materials[static_cast<std::size_t>(place)];
            if (!HasDensity(material)) {
                without.push_back(&material);
            }
        }
        if (without.empty()) {
            return;
        }
        const std::string need = WhatNeedsMass();
        if (need.empty() && without.size() == materials.size()) {
            return;  // nothing here has a mass
        }
        for (const ORQExcLayup::Material* const material : without) {
            findings.push_back({.rule = need.empty() ? kPartly.id : kNeeded.id,
                                .object = fmt::format("material \"{}\"", material->name),
                                .message = need.empty()
                                               ? "has no density; others have"
                                               : fmt::format("has no density; {} needs it", need)});
        }
    }

  private:
    /// The first step or load that goes by mass, empty for none.
    std::string WhatNeedsMass() const {
        const ORQSimVector steps = ORQObjModel(m_model.Document().GetModel()).GetStepSequence();
        for (auto step = steps.Begin(); step.NotDone(); ++step) {
            if ((*step).IsA(ORQSimSchema::Step_Lin_Frequency)) {
                return fmt::format("step \"{}\"", ORQObjStep(*step).GetName().UTF8());
            }
        }
        for (const ORQExcKeptText& text : ORQExcReadKeptTexts(m_model.Document())) {
            for (const auto& [card, count] : text.contents) {
                if (std::ranges::find(kMassLoads, card) != kMassLoads.end()) {
                    return card;
                }
            }
        }
        return {};
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck DensitiesCheck() {
    return {{kNeeded, kPartly}, BeginRun<DensitiesRun>};
}

}  // namespace orq::exchange
