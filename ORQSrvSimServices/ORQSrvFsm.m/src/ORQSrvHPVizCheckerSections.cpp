// The checker's part for section assignments and the layers of sections.
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSrvCheckerCommon.h"
#include "ORQSrvHPVizChecker.h"
#include "ORQSrvShellSection.h"

using namespace orq::checker;

namespace {

// The definition of a section that needs no layers. Stored, do not change.
constexpr int kWithoutLayers = 2;

ORQString Description(const ORQSimPosition& layer, int number) {
    const ORQSimPosition ply = layer.GetPosition(ORQSimSchema::Layer_ply);
    const ORQString text = ORQString("layer ") + number;
    return ply.IsNull() ? text : text + ", ply " + Quoted(ply.Name());
}

void CheckLayer(const ORQSimPosition& layer, const ORQString& place,
                ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQSimPosition ply = layer.GetPosition(Layer_ply);
    if (!ply.IsNull() && ply.Parent(Model_plies).IsNull()) {
        messages.push_back("Ply is not linked to Model, " + place + ".");
    }
    const ORQSimPosition segments = layer.GetPosition(Layer_Beam_Arbitrary_segments);
    if (!layer.IsA(Layer_Beam_Arbitrary) || segments.IsNull()) {
        return;
    }
    if (!segments.IsA(Field_FTable)) {
        messages.push_back("Layer_Beam_Arbitrary_segments is not of type Field_FTable, " + place +
                           ".");
    } else if (!Has(segments, Field_fTable)) {
        messages.push_back("Layer_Beam_Arbitrary_segments has no an FTable, " + place + ".");
    }
}

// Whether the record of a shell section can be read.
bool CheckShellRecord(const ORQSimPosition& section, const ORQString& name,
                      ORQBasVector<ORQString>& messages) {
    const ORQSimDataRecord record = section.DataRecord();
    bool isReadable = false;
    CheckObject("Shell section " + name, messages, [&] {
        const int nLayers = record.GetInt(ORQSimRecordField::Section_layered_numLayers);
        if (record.GetSymb(ORQSimRecordField::Section_layered_definition) != kWithoutLayers &&
            nLayers == 0) {
            messages.push_back("Shell section " + name + " has no Layers (Section_layers).");
        }
        isReadable = true;
    });
    return isReadable;
}

void CheckSection(const ORQSimPosition& section, ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQString name = QuotedName(section);
    if (!IsReferredTo(section, Focus_externalSectionIds)) {
        messages.push_back("Section " + name +
                           " is not linked to Focus (Focus_externalSectionIds).");
    }
    const bool isReadable = section.IsA(Section_Shell) && CheckShellRecord(section, name, messages);
    const ORQSimVector layers = section.GetVector(Section_layers);
    int number = 0;
    for (auto layer = layers.Begin(); layer.NotDone(); ++layer) {
        CheckLayer(*layer, name + ", " + Description(*layer, ++number), messages);
    }
    if (isReadable) {
        const ORQSrvShellSection readable(section);
        readable.GetConstThicknesses();
        readable.GetPlies();
    }
}

}  // namespace

void ORQSrvHPVizChecker::Check_sectionAssignments() {
    using namespace ORQSimSchema;
    const ORQSimVector assignments = m_model.GetVector(Model_sectionAssignments);
    int number = 0;
    for (auto assignment = assignments.Begin(); assignment.NotDone(); ++assignment, ++number) {
        const ORQSimPosition section = (*assignment).GetPosition(SectionAssignment_section);
        const ORQSimPosition region = (*assignment).GetPosition(SectionAssignment_region);
        if (section.IsNull()) {
            m_messages.push_back(ORQString("SectionAssignment  #") + number +
                                 " has no Section link.");
        }
        if (region.IsNull()) {
            m_messages.push_back(ORQString("SectionAssignment  #") + number +
                                 " has no Region link.");
        }
        if (!Has(region, Region_elementsCluster)) {
            m_messages.push_back(ORQString("Region referred by SectionAssignemt #") + number +
                                 " has no elementsCluster CSet.");
        }
        CheckSection(section, m_messages);
    }
}
