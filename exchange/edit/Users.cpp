#include "edit/Users.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "ORQExcKeptTexts.h"
#include "ORQExcSections.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSrvShellSection.h"
#include "formats/nastran/NastranKeptLabels.h"

namespace orq::exchange {

using namespace ORQSimSchema;

Users::Users(const ORQObjDocument& document)
    : m_document(document), m_numbers(NumbersOnPropertyCards(ORQExcReadKeptTexts(document))) {
    const ORQSimCollection sections(
        document.GetModel().GetPosition(Model_sections).GetCollection());
    for (int member = 0; member < sections.Space(); ++member) {
        const ORQSimPosition section = sections.GetMember(member);
        if (!section.IsA(Section_Shell)) {
            continue;
        }
        const ORQSrvShellSection layers(section);
        for (std::size_t i = 0; i < static_cast<std::size_t>(layers.GetNumLayers()); ++i) {
            for (const ORQSimPosition& used :
                 {layers.GetMaterials()[i], layers.GetOrientations()[i]}) {
                m_sections[used].insert(fmt::format("section \"{}\"", section.Name().UTF8()));
            }
        }
    }
}

std::vector<std::string> Users::Of(ORQExcObjectKind kind, const ORQSimPosition& object) const {
    switch (kind) {
        case ORQExcObjectKind::Material:
        case ORQExcObjectKind::Orientation:
            return OfLayers(kind, object);
        case ORQExcObjectKind::NodeSet:
        case ORQExcObjectKind::ElementSet:
        case ORQExcObjectKind::Surface:
            return OfRegion(object);
        default:
            return {};
    }
}

std::vector<std::string> Users::OfLayers(ORQExcObjectKind kind,
                                         const ORQSimPosition& object) const {
    std::vector<std::string> users;
    if (const auto sections = m_sections.find(object); sections != m_sections.end()) {
        users.assign(sections->second.begin(), sections->second.end());
    }
    const int number = object.DataRecord().GetInt(ORQSimRecordField::Material_number);
    if (kind == ORQExcObjectKind::Material && m_numbers.contains(number)) {
        users.push_back(
            fmt::format("kept cards of properties that may name its number {}", number));
    }
    return users;
}

std::vector<std::string> Users::OfRegion(const ORQSimPosition& region) const {
    std::vector<std::string> users;
    const ORQSimSet requests = region.ReferrersSet(UserOutputRequest_outputRegions);
    for (auto i = requests.Begin(); i.NotDone(); ++i) {
        users.push_back(fmt::format("output request \"{}\"", (*i).Name().UTF8()));
    }
    const ORQSimSet constraints = region.ReferrersSet(Constraint_RigidBody_analyticSurface);
    for (auto i = constraints.Begin(); i.NotDone(); ++i) {
        users.push_back(fmt::format("rigid body \"{}\"",
                                    (*i).GetPosition(Constraint_RigidBody_body).Name().UTF8()));
    }
    const ORQSimCollection regions(
        m_document.GetModel().GetPosition(Model_regions).GetCollection());
    const ORQSimCSet written = m_document.Focus()
                                   .GetPosition(Focus_output)
                                   .GetPosition(Output_regions)
                                   .DSet()
                                   .Collect(regions.ID());
    if (written.SeekMember(regions.MemberIndex(region)) >= 0) {
        users.emplace_back("the output of the analysis");
    }
    return users;
}

std::vector<ORQSimPosition> AssignmentsOf(const ORQSimPosition& sectionOrRegion) {
    std::vector<ORQSimPosition> assignments;
    for (const int slot : {SectionAssignment_section, SectionAssignment_region}) {
        const ORQSimSet referrers = sectionOrRegion.ReferrersSet(slot);
        for (auto i = referrers.Begin(); i.NotDone(); ++i) {
            assignments.push_back(*i);
        }
    }
    return assignments;
}

std::vector<std::string> NamesOf(const std::vector<ORQSimPosition>& assignments) {
    std::vector<std::string> names;
    for (const ORQSimPosition& assignment : assignments) {
        names.push_back(
            fmt::format("the assignment of section \"{}\" to \"{}\"",
                        assignment.GetPosition(SectionAssignment_section).Name().UTF8(),
                        assignment.GetPosition(SectionAssignment_region).Name().UTF8()));
    }
    return names;
}

}  // namespace orq::exchange
