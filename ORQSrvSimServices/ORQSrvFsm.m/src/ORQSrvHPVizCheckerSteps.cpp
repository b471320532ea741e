// The checker's part for the steps and the regions of their output.
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDSet.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvCheckerCommon.h"
#include "ORQSrvHPVizChecker.h"

using namespace orq::checker;

namespace {

// Whether the drawers of a distribution cover every member of a set.
bool Covers(const ORQSimPosition& distribution, const ORQSimCSet& set) {
    const ORQSimCSet stored = Union(DrawerSets(distribution.GetDistribution(), set.CollectionID()));
    return stored.Intersection(set).SameMembers(set);
}

void CheckModes(const ORQSimPosition& step, const ORQString& name,
                ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQSimPosition modes = step.GetPosition(Task_modes);
    const bool isBuckling = step.IsA(Step_Lin_Buckle);
    if (modes.IsNull()) {
        if (isBuckling) {
            messages.push_back("Step_Lin_Buckle " + name + " has no modes link (Task_modes).");
        }
        return;
    }
    if (isBuckling && modes.CSet().IsEmpty()) {
        messages.push_back("Step_Lin_Buckle " + name +
                           " has a mode set that is empty (Task_modes).");
    }
    const ORQSimPosition system = step.GetPosition(Task_feSystem);
    if (system.IsNull()) {
        messages.push_back("Step " + name + " has no FESystem.");
    } else if (!system.IsA(ModalSystem)) {
        messages.push_back("System is not ModalSystem for Step " + name + ".");
    } else if (!Has(system, ModalSystem_eigenvalues)) {
        messages.push_back(
            "ModalSystem has no eigenvalues link (ModalSystem_eigenvalues)for Step " + name + ".");
    }
}

// A set of a step whose members have values: where set, description and values hang, and what is
// said of each defect.
struct ValuedSet {
    int setSlot;
    int collectionSlot;
    int distributionSlot;
    ORQString withoutDescription;
    ORQString withoutValues;
    ORQString withGaps;
};

void CheckValues(const ORQSimPosition& step, const ValuedSet& what,
                 ORQBasVector<ORQString>& messages) {
    const ORQSimCSet set = step.GetPosition(what.setSlot).CSet();
    const ORQSimPosition description =
        ORQSimPosition(set.CollectionID()).Parent(what.collectionSlot);
    const ORQSimPosition distribution = description.GetPosition(what.distributionSlot);
    if (description.IsNull()) {
        messages.push_back(what.withoutDescription);
    } else if (distribution.IsNull()) {
        messages.push_back(what.withoutValues);
    } else if (!Covers(distribution, set)) {
        messages.push_back(what.withGaps);
    }
}

ValuedSet Times(const ORQString& step) {
    return {ORQSimSchema::Task_times,
            ORQSimSchema::TimeDescription_timeCollection,
            ORQSimSchema::TimeDescription_distribution,
            "Task_times CSet's TimeCollection has no parent link to TimeDescription "
            "(TimeDescription_timeCollection)for Step " +
                step + ".",
            "TimeDescription has no data distribution for Step " + step + ".",
            "TimeDescription data distribution must have all members from times CSet for Step " +
                step + "."};
}

ValuedSet ArcLengths(const ORQString& step) {
    return {ORQSimSchema::Step_Riks_arcLengths,
            ORQSimSchema::ArcLengthDescription_collection,
            ORQSimSchema::ArcLengthDescription_distribution,
            "ArcLengthDescription record does not exist.",
            "ArcLengthDescription record does not exist for Step " + step + ".",
            "This ArcLengthDescription data distribution has no all members from times CSet for "
            "Step " +
                step + "."};
}

ValuedSet Frequencies(const ORQString& step) {
    const ORQString missing = "FrequencyDescription record does not exist for Step " + step + ".";
    return {ORQSimSchema::Step_frequencies,
            ORQSimSchema::FrequencyDescription_collection,
            ORQSimSchema::FrequencyDescription_distribution,
            missing,
            missing,
            "This FrequencyDescription data distribution has no all members from frequency CSet "
            "for Step " +
                step + "."};
}

void CheckStep(const ORQSimPosition& step, const ORQString& name,
               ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    if (!IsReferredTo(step, Focus_externalTaskIds)) {
        messages.push_back("Step " + name +
                           " is not referred to by Focus (Focus_externalTaskIds).");
    }
    CheckModes(step, name, messages);
    const bool isRiks = step.IsA(Step_Gen_StaticRiks);
    if (isRiks && !Has(step, Step_Gen_timeIncrementation)) {
        messages.push_back("TimeIncrementation record does not exist for Step_Gen_StaticRiks " +
                           name + " (Step_Gen_timeIncrementation).");
    }
    CheckValues(step, Times(name), messages);
    if (isRiks) {
        CheckValues(step, ArcLengths(name), messages);
    }
    // Most steps have no frequencies; this kind is for them.
    if (step.IsA(Step_Lin_Frequency) || Has(step, Step_frequencies)) {
        CheckValues(step, Frequencies(name), messages);
    }
}

}  // namespace

void ORQSrvHPVizChecker::Check_Steps() {
    using namespace ORQSimSchema;
    if (m_model.GetMap(Model_steps).Size() == 0) {
        m_messages.push_back("Model has no Steps.");
        return;
    }
    const ORQSimVector sequence = m_model.GetVector(Model_stepSequence);
    if (sequence.Size() < 1) {
        m_messages.push_back("Model_stepSequence is empty.");
        return;
    }
    for (auto i = sequence.Begin(); i.NotDone(); ++i) {
        const ORQSimPosition step = *i;
        const ORQString name = QuotedName(step);
        CheckObject("Step " + name, m_messages, [&] { CheckStep(step, name, m_messages); });
    }
}

void ORQSrvHPVizChecker::Check_FocusResults() {
    using namespace ORQSimSchema;
    const ORQSimCollectionID regions = m_model.GetPosition(Model_regions).GetCollection();
    const ORQSimCSet output = m_document.Focus()
                                  .GetPosition(Focus_output)
                                  .GetPosition(Output_regions)
                                  .DSet()
                                  .Collect(regions);
    const ORQSimContext context(m_document.ContextID());
    for (ORQSimCSetIterator i(output); !i.IsDone(); i.Next()) {
        const ORQSimPosition region = context.GetRecord(regions, i.CurrentValue());
        if (region.IsA(Region_contactDomain) || region.IsA(Region_wholeModel) ||
            Has(region, Region_elementsFacesCluster) || Has(region, Region_elementsEdgesCluster) ||
            Has(region, Region_nodesCluster)) {
            continue;
        }
        m_messages.push_back("Region " + QuotedName(region) +
                             " for output surface contribution has no elementsFacesCluster or "
                             "elementsEdgesCluster DSet, or nodesCluster CSet.");
    }
}
