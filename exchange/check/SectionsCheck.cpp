#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "ORQExcCheck.h"
#include "ORQExcLayup.h"
#include "ORQExcSections.h"
#include "check/Checks.h"

namespace orq::exchange {
namespace {

const ORQExcRule kWithout = {
    .id = "SEC001",
    .level = ORQExcLevel::Warning,
    .title = "element without a section in a model with sections",
    .meaning = "no section is assigned to the element, though others have one",
    .breaks = "its thickness, layers and material are unknown",
    .mending = "add the element to a set with a section"};
const ORQExcRule kTwo = {.id = "SEC002",
                         .level = ORQExcLevel::Warning,
                         .title = "element with two sections",
                         .meaning = "two assignments have the element; the first one counts",
                         .breaks = "another program may take the other section",
                         .mending = "take the element out of one of the sets"};
const ORQExcRule kUnusedSection = {.id = "SEC003",
                                   .level = ORQExcLevel::Note,
                                   .title = "section of no element",
                                   .meaning = "no element has the section",
                                   .breaks = "nothing; it is likely a leftover",
                                   .mending = "remove the section, or assign it"};
const ORQExcRule kMisfit = {
    .id = "SEC004",
    .level = ORQExcLevel::Warning,
    .title = "layered section at an element that is no shell",
    .meaning = "layers are stacked along the normal of a surface; a solid or a bar has none",
    .breaks = "the layers have no direction",
    .mending = "assign the section to shells only"};

class SectionsRun : public ORQExcCheckRun {
  public:
    explicit SectionsRun(const ORQExcCheckedModel& model) : m_model(model) {}

    void Finish(std::vector<ORQExcFinding>& findings) override {
        // One whose layers cannot be read is a finding of the rules of layers.
        const ORQExcLayup layup =
            ORQExcReadLayup(m_model.Document(), [](const std::string& /*why*/) {});
        if (layup.sections.empty()) {
            return;
        }
        constexpr int kNone = -1;
        std::vector<int> sectionOf(static_cast<std::size_t>(m_model.Model().NumElements()), kNone);
        std::vector<int> twice;
        std::vector<bool> isUsed(layup.sections.size());
        std::map<std::string_view, const ORQExcModel::Set*> sets;
        for (const ORQExcModel::Set& set : m_model.Model().ElementSets()) {
            sets.emplace(set.name, &set);
        }
        for (const ORQExcLayup::Assignment& assignment : layup.assignments) {
            const auto set = sets.find(assignment.elementSet);
            // An assignment without a section, or of a set that the model lacks, assigns nothing.
            if (set == sets.end() || assignment.section < 0) {
                continue;
            }
            for (ORQSimCSetIterator element{set->second->members}; !element.IsDone();
                 element.Next()) {
                int& section = sectionOf[static_cast<std::size_t>(element.CurrentValue())];
                if (section == kNone) {
                    section = assignment.section;
                    isUsed[static_cast<std::size_t>(section)] = true;
                } else if (section != assignment.section) {
                    twice.push_back(element.CurrentValue());
                }
            }
        }
        std::ranges::sort(twice);
        twice.erase(std::unique(twice.begin(), twice.end()), twice.end());
        if (!twice.empty()) {
            findings.push_back({.rule = kTwo.id,
                                .message = "two sections are assigned",
                                .place = ORQExcFinding::Place::Element,
                                .members = std::move(twice)});
        }
        for (std::size_t i = 0; i < layup.sections.size(); ++i) {
            if (!isUsed[i]) {
                findings.push_back({.rule = kUnusedSection.id,
                                    .object = fmt::format("section \"{}\"", layup.sections[i].name),
                                    .message = "no element has it"});
            }
        }
        CheckBlocks(layup, sectionOf, findings);
    }

  private:
    void CheckBlocks(const ORQExcLayup& layup, const std::vector<int>& sectionOf,
                     std::vector<ORQExcFinding>& findings) const {
        for (const ORQExcModel::Block& block : m_model.Model().Blocks()) {
            const bool hasProperty = !block.definition.empty() || HasPropertyOfDeck(block);
            std::vector<int> without;
            std::vector<int> misfits;
            for (ORQSimCSetIterator element{block.elements}; !element.IsDone(); element.Next()) {
                const int section = sectionOf[static_cast<std::size_t>(element.CurrentValue())];
                if (section < 0) {
                    // Points and lines are masses and rigid links, which have no section; other blocks may
                    // have a property of their file instead.
                    if (block.shape->dimension >= 2 && !hasProperty) {
                        without.push_back(element.CurrentValue());
                    }
                } else if (block.shape->dimension != 2 &&
                           !layup.sections[static_cast<std::size_t>(section)].layers.empty()) {
                    misfits.push_back(element.CurrentValue());
                }
            }
            Add(kWithout, block, "no section is assigned", std::move(without), findings);
            Add(kMisfit, block,
                fmt::format("a layered section is assigned to the shape {}", block.shape->name),
                std::move(misfits), findings);
        }
    }

    /// Blocks of a deck are named by card and number of their property, "PSOLID 2 CHEXA", of which
    /// those of shells become sections and the others are kept as text.
    static bool HasPropertyOfDeck(const ORQExcModel::Block& block) {
        const std::string card = block.name.substr(0, block.name.find(' '));
        return block.shapeName.starts_with('C') && card.starts_with('P') && card != "PSHELL" &&
               card != "PCOMP" && card != "PCOMPG";
    }

    static void Add(const ORQExcRule& rule, const ORQExcModel::Block& block, std::string message,
                    std::vector<int> members, std::vector<ORQExcFinding>& findings) {
        if (!members.empty()) {
            findings.push_back({.rule = rule.id,
                                .object = fmt::format("block \"{}\"", block.name),
                                .message = std::move(message),
                                .place = ORQExcFinding::Place::Element,
                                .members = std::move(members)});
        }
    }

    const ORQExcCheckedModel& m_model;
};

}  // namespace

ORQExcCheck SectionsCheck() {
    return {{kWithout, kTwo, kUnusedSection, kMisfit}, BeginRun<SectionsRun>};
}

}  // namespace orq::exchange
