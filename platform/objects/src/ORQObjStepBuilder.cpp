#include "ORQObjStepBuilder.h"

#include <algorithm>
#include <array>
#include <string>

#include "AddMembers.h"
#include "FindOrMake.h"
#include "InsertNamed.h"
#include "ORQBasFailure.h"
#include "ORQObjMesh.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"
#include "SectionLayers.h"
#include "UserFieldType.h"

namespace {

// A page of bulk data, since each step has a distribution of its own and mostly few values.
constexpr int kValuesPerChunk = 512;

ORQSimPosition TimeDescriptionOf(const ORQSimPosition& step) {
    return step.GetPosition(ORQSimSchema::Task_timeDescription);
}

ORQSimPosition TimeCollectionOf(const ORQSimPosition& step) {
    return TimeDescriptionOf(step).GetPosition(ORQSimSchema::TimeDescription_timeCollection);
}

// Appends one value for each of some new members, to the one drawer of the distribution.
void AppendValues(const ORQSimDistribution& distribution, const ORQSimCSetID& members,
                  std::span<const double> values) {
    ORQSimTransfer transfer(distribution);
    transfer.SetWrite();
    if (distribution.NumDrawers() == 0) {
        ORQSimArray<int> chunks(1);
        chunks.Get(0) = kValuesPerChunk;
        transfer.SetMakeNewDrawerChunked(chunks).SetExtendableDim(0);
    } else {
        transfer.SetDrawer(distribution.DrawerIDArray().Get(0)).SetAutoExtend();
    }
    transfer.SetDim(0, members)
        .SetBuffer(ORQSimbufMain, values.data(), static_cast<std::int64_t>(values.size_bytes()))
        .ExecWrite();
}

// The slots and types by which a description holds a collection and the values of its members.
struct Description {
    int type;
    int collectionSlot;
    int collectionType;
    int distributionSlot;
    int distributionType;
};
constexpr Description kFrequencies = {
    ORQSimSchema::FrequencyDescription, ORQSimSchema::FrequencyDescription_collection,
    ORQSimSchema::FrequencyCollection, ORQSimSchema::FrequencyDescription_distribution,
    ORQSimSchema::FrequencyData};
constexpr Description kArcLengths = {
    ORQSimSchema::ArcLengthDescription, ORQSimSchema::ArcLengthDescription_collection,
    ORQSimSchema::ArcLengthCollection, ORQSimSchema::ArcLengthDescription_distribution,
    ORQSimSchema::ArcLengthData};

// Makes a description with its values, and the step's set of all of them under a slot.
ORQSimCSetID Describe(const ORQSimPosition& step, int slot, const Description& description,
                      std::span<const double> values) {
    const ORQSimPosition record = step.CreateDataRecord(description.type).Pos();
    const ORQSimPosition collection =
        NeedCollection(record, description.collectionSlot, description.collectionType);
    const ORQSimPosition data =
        NeedDistribution(record, description.distributionSlot, description.distributionType,
                         {collection}, ORQSimRangeType(ORQSimScalarDouble));
    const ORQSimCSetID members = AddMembers(collection, static_cast<int>(values.size()));
    if (!values.empty()) {
        AppendValues(data.GetDistribution(), members, values);
    }
    step.SetPosition(slot, members);
    return members;
}

// Grid types with several values in each member.
constexpr std::array<int, 4> kGridTypesWithPoints = {
    ORQSimSchema::Field_IntegrationPoint, ORQSimSchema::Field_ElementNodal,
    ORQSimSchema::Field_ElementFace, ORQSimSchema::Field_WholeElementFace};

void CheckDefinition(const ORQObjFieldDefinition& definition, const ORQSimPosition& step,
                     const ORQSimPosition& elements) {
    using namespace ORQSimSchema;
    const auto refuse = [&](const std::string& text) {
        ORQBasThrowUsage("field \"" + definition.name.UTF8() + "\" of step \"" +
                         step.Name().UTF8() + "\": " + text);
    };
    if (definition.name.IsEmpty() || definition.components.empty()) {
        refuse("it has no name or no components");
    }
    if (!definition.type.IsA(FieldType_standard) && !definition.type.IsA(FieldType_user)) {
        refuse(definition.type.IsNull()
                   ? "it has no field type"
                   : NameOf(definition.type.ID().TypeID().Index()) + " is no field type");
    }
    const Entry* gridType = Find(definition.gridType);
    if (gridType == nullptr || gridType->kind != Kind::Field) {
        refuse(NameOf(definition.gridType) + " is no grid type");
    }
    const bool hasPoints = ORQObjStepBuilder::HasPoints(definition.gridType);
    if ((hasPoints || definition.hasLayers) &&
        (elements.IsNull() || definition.members != elements)) {
        refuse(hasPoints ? std::string(gridType->name) +
                               " has points in elements, and its members are no elements"
                         : "it has layers, and its members are no elements");
    }
}

}  // namespace

ORQSimPosition ORQObjStepBuilder::AddStep(const ORQString& name, int type) const {
    using namespace ORQSimSchema;
    const ORQSimPosition model = m_document.GetModel();
    const ORQSimPosition step = model.CreateDataRecord(type).Pos();
    InsertNamed(model.GetMap(Model_steps), name, step, "step");
    step.SetName(Record_name, name);
    model.GetVector(Model_stepSequence).PushBack(step);
    m_document.Focus().GetSet(Focus_externalTaskIds).Insert(step);

    const ORQSimPosition description = NeedRecord(step, Task_timeDescription, TimeDescription);
    const ORQSimPosition times =
        NeedCollection(description, TimeDescription_timeCollection, TimeCollection);
    NeedDistribution(description, TimeDescription_distribution, TimeData, {times},
                     ORQSimRangeType(ORQSimScalarDouble));
    step.SetPosition(Task_times, ORQSimCollection(times.GetCollection()).EmptyCSetID());
    return step;
}

ORQSimCSetID ORQObjStepBuilder::AddTimes(const ORQSimPosition& step,
                                         std::span<const double> values) const {
    const ORQSimPosition collection = TimeCollectionOf(step);
    const ORQSimCSetID added = AddMembers(collection, static_cast<int>(values.size()));
    if (!values.empty()) {
        AppendValues(TimeDescriptionOf(step)
                         .GetPosition(ORQSimSchema::TimeDescription_distribution)
                         .GetDistribution(),
                     added, values);
        const ORQSimCollection times(collection.GetCollection());
        // Times are only appended, so those of the step are all of its collection.
        step.SetPosition(ORQSimSchema::Task_times,
                         times.CreateTempCSetStrided(0, times.Space(), 1, 1));
    }
    return added;
}

ORQSimCSetID ORQObjStepBuilder::SetModes(const ORQSimPosition& step,
                                         std::span<const double> eigenvalues) const {
    using namespace ORQSimSchema;
    const ORQSimPosition modes = step.CreateTypedCollection(ModeCollection, 0);
    const ORQSimCSetID members = AddMembers(modes, static_cast<int>(eigenvalues.size()));
    const ORQSimPosition data =
        NeedDistribution(NeedRecord(step, Task_feSystem, ModalSystem), ModalSystem_eigenvalues,
                         Eigenvalues, {modes}, ORQSimRangeType(ORQSimScalarDouble));
    if (!eigenvalues.empty()) {
        AppendValues(data.GetDistribution(), members, eigenvalues);
    }
    step.SetPosition(Task_modes, members);
    return members;
}

ORQSimCSetID ORQObjStepBuilder::SetFrequencies(const ORQSimPosition& step,
                                               std::span<const double> values) const {
    return Describe(step, ORQSimSchema::Step_frequencies, kFrequencies, values);
}

ORQSimCSetID ORQObjStepBuilder::SetArcLengths(const ORQSimPosition& step,
                                              std::span<const double> values) const {
    return Describe(step, ORQSimSchema::Step_Riks_arcLengths, kArcLengths, values);
}

void ORQObjStepBuilder::SetTimeIncrementation(const ORQSimPosition& step, double firstIncrement,
                                              double length) const {
    const ORQSimDataRecord record = NeedRecord(step, ORQSimSchema::Step_Gen_timeIncrementation,
                                               ORQSimSchema::TimeIncrementation)
                                        .DataRecord();
    record.SetDouble(ORQSimRecordField::TimeIncrementation_firstIncrement, firstIncrement);
    record.SetDouble(ORQSimRecordField::TimeIncrementation_length, length);
}

ORQSimPosition ORQObjStepBuilder::StandardFieldType(const ORQString& identifier) const {
    using namespace ORQSimSchema;
    const ORQSimMap types =
        m_document.Focus().GetPosition(Focus_libraries).GetMap(Libraries_fieldTypes);
    ORQSimPosition type = types.Find(identifier);
    if (type.IsNull()) {
        const ORQSimDataRecord record = m_document.CreateDataRecord(FieldType_standard);
        record.SetString(ORQSimRecordField::FieldType_standard_identifier, identifier);
        type = record.Pos();
        InsertNamed(types, identifier, type, "field type");
    }
    return type;
}

ORQSimPosition ORQObjStepBuilder::UserFieldType(const ORQString& name) const {
    return NeedUserFieldType(m_document.GetModel(), name);
}

bool ORQObjStepBuilder::HasPoints(int gridType) {
    return std::ranges::find(kGridTypesWithPoints, gridType) != kGridTypesWithPoints.end();
}

ORQObjMeshedField ORQObjStepBuilder::MakeField(const ORQSimPosition& step,
                                               const ORQObjFieldDefinition& definition) const {
    using namespace ORQSimSchema;
    const ORQObjMesh mesh(m_document.GetMesh());
    CheckDefinition(definition, step, mesh.GetElementCollection());
    const ORQSimPosition position = step.CreateDataRecord(MeshedField).Pos();
    position.SetName(Record_name, definition.name);
    position.SetPosition(MeshedField_type, definition.type);

    const ORQObjMeshedField field(position);
    field.SetGridType(definition.gridType);
    std::vector<int> codes;
    for (const ORQObjFieldDefinition::Component& component : definition.components) {
        field.SetComponentLabel(static_cast<int>(codes.size()), component.label);
        codes.push_back(component.code);
    }
    if (definition.axes != ORQObjAxes::Unknown) {
        field.SetAxes(definition.axes);
    }
    if (!definition.arrayNames.IsEmpty()) {
        field.SetArrayNames(definition.arrayNames);
    }
    const ORQSimPosition components = m_document.GetComponentCollection();
    field.SetComponents(ORQSimCollection(components.GetCollection())
                            .CreateTempOrderedCSet(codes.data(), static_cast<int>(codes.size())));

    // Times first and components last: what ORQObjMeshedField relies on. Layers come before members,
    // so that the values of a layer lie together.
    const ORQSimPosition libraries = m_document.Focus().GetPosition(Focus_libraries);
    std::vector<ORQSimPosition> grid = {TimeCollectionOf(step)};
    if (definition.hasLayers) {
        grid.push_back(NeedSectionLayers(m_document.GetModel(), libraries));
        grid.push_back(NeedCollection(libraries, Libraries_sectionPoints, SectionPointCollection));
    }
    if (!definition.members.IsNull()) {
        grid.push_back(definition.members);
    }
    if (HasPoints(definition.gridType)) {
        grid.push_back(NeedCollection(libraries, Libraries_fieldPoints, FieldPointCollection));
    }
    grid.push_back(components);
    NeedDistribution(position, Field_distribution, FieldData, grid,
                     ORQSimRangeType(ORQSimScalarDouble));
    return field;
}

ORQObjMeshedField ORQObjStepBuilder::AddFieldResult(const ORQSimPosition& step,
                                                    const ORQObjFieldDefinition& definition) const {
    const ORQObjMeshedField field = MakeField(step, definition);
    step.GetSet(ORQSimSchema::Task_fieldResults).Insert(field.Position());
    return field;
}

ORQObjMeshedField ORQObjStepBuilder::AddHistoryField(
    const ORQSimPosition& step, const ORQObjFieldDefinition& definition) const {
    const ORQObjMeshedField field = MakeField(step, definition);
    step.GetSet(ORQSimSchema::Task_historyFields).Insert(field.Position());
    return field;
}

ORQSimPosition ORQObjStepBuilder::AddUserOutputRequest(
    const ORQString& name, std::span<const ORQSimPosition> regions) const {
    using namespace ORQSimSchema;
    const ORQSimPosition model = m_document.GetModel();
    const ORQSimPosition request = model.CreateDataRecord(UserOutputRequest).Pos();
    InsertNamed(model.GetMap(Model_userOutputRequests), name, request, "output request");
    request.SetName(Record_name, name);
    for (const ORQSimPosition& region : regions) {
        request.GetSet(UserOutputRequest_outputRegions).Insert(region);
    }
    return request;
}

ORQSimPosition ORQObjStepBuilder::AddOutputRequest(
    const ORQSimPosition& userRequest, std::span<const ORQObjMeshedField> fields) const {
    using namespace ORQSimSchema;
    const ORQSimPosition model = m_document.GetModel();
    const ORQSimPosition request = model.CreateDataRecord(OutputRequest).Pos();
    model.GetVector(Model_outputRequests).PushBack(request);
    userRequest.GetVector(OutputRequest_elaboratedRequest).PushBack(request);
    for (const ORQObjMeshedField& field : fields) {
        request.GetVector(OutputRequest_field).PushBack(field.Position());
    }
    return request;
}
