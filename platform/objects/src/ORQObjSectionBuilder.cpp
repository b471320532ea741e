#include "ORQObjSectionBuilder.h"

#include <string>

#include "FindOrMake.h"
#include "InsertNamed.h"
#include "ORQBasFailure.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "SectionLayers.h"
#include "UserFieldType.h"

ORQObjSectionBuilder::ORQObjSectionBuilder(const ORQObjDocument& document)
    : m_model(document.GetModel()), m_materials(document.GetMaterialCollection()) {
    using namespace ORQSimSchema;
    NeedCollection(m_model, Model_orientationCollection, OrientationCollection);
    NeedCollection(m_model, Model_plyCollection, PlyCollection);
    NeedCollection(m_model, Model_sections, SectionCollection);
    const ORQSimPosition libraries = document.Focus().GetPosition(Focus_libraries);
    NeedSectionLayers(m_model, libraries);
    NeedCollection(libraries, Libraries_materialRows, MaterialRowCollection);
    NeedCollection(libraries, Libraries_materialComponents, MaterialComponentCollection);
    NeedCollection(libraries, Libraries_materialFieldVariables, MaterialFieldVariableCollection);
    for (const char* name : {"STH", "ANGLE"}) {
        NeedUserFieldType(m_model, name);
    }
}

ORQSimPosition ORQObjSectionBuilder::AddNamed(int type, const ORQString& name, int number,
                                              const ORQSimPosition& collection) const {
    using namespace ORQSimRecordField;
    static_assert(Material_number == Ply_number && Material_number == Orientation_number);
    const ORQSimDataRecord record = m_model.CreateDataRecord(type);
    record.SetInt(Material_number, number);
    record.Pos().SetName(ORQSimSchema::Record_name, name);
    ORQSimCollection(collection.GetCollection()).AddMember(record.Pos());
    return record.Pos();
}

ORQSimPosition ORQObjSectionBuilder::AddMaterial(const ORQString& name, int number) const {
    const ORQSimPosition material = AddNamed(ORQSimSchema::Material, name, number, m_materials);
    InsertNamed(m_model.GetMap(ORQSimSchema::Model_materials), name, material, "material");
    return material;
}

ORQSimPosition ORQObjSectionBuilder::AddPly(const ORQString& name, int number) const {
    const ORQSimPosition ply = AddNamed(ORQSimSchema::Ply, name, number,
                                        m_model.GetPosition(ORQSimSchema::Model_plyCollection));
    InsertNamed(m_model.GetMap(ORQSimSchema::Model_plies), name, ply, "ply");
    m_model.Focus().GetSet(ORQSimSchema::Focus_externalPlyIds).Insert(ply);
    return ply;
}

ORQSimPosition ORQObjSectionBuilder::AddOrientation(const ORQString& name, int number,
                                                    const std::array<double, 3>& axis1,
                                                    const std::array<double, 3>& axis2) const {
    const ORQSimPosition orientation =
        AddNamed(ORQSimSchema::Orientation, name, number,
                 m_model.GetPosition(ORQSimSchema::Model_orientationCollection));
    const ORQSimDataRecord record = orientation.DataRecord();
    record.SetDouble(ORQSimRecordField::Orientation_axis1, 3, axis1.data());
    record.SetDouble(ORQSimRecordField::Orientation_axis2, 3, axis2.data());
    InsertNamed(m_model.GetMap(ORQSimSchema::Model_orientations), name, orientation, "orientation");
    return orientation;
}

ORQSimPosition ORQObjSectionBuilder::AddShellSection(const ORQString& name, int number,
                                                     int layers) const {
    if (layers < 0) {
        ORQBasThrowUsage("section \"" + name.UTF8() + "\" has " + std::to_string(layers) +
                         " layers");
    }
    const ORQSimDataRecord record = m_model.CreateDataRecord(ORQSimSchema::Section_Shell);
    record.SetInt(ORQSimRecordField::Section_layered_numLayers, layers);
    record.SetInt(ORQSimRecordField::Section_layered_number, number);
    const ORQSimPosition section = record.Pos();
    section.SetName(ORQSimSchema::Record_name, name);
    ORQSimCollection(m_model.GetPosition(ORQSimSchema::Model_sections).GetCollection())
        .AddMember(section);
    ORQSimCollection(m_model.GetPosition(ORQSimSchema::Model_sectionLayers).GetCollection())
        .ExtendSpace(layers);
    InsertNamed(m_model.GetMap(ORQSimSchema::Model_sectionNames), name, section, "section");
    m_model.Focus().GetSet(ORQSimSchema::Focus_externalSectionIds).Insert(section);
    return section;
}

ORQSimPosition ORQObjSectionBuilder::AddLayer(const ORQSimPosition& section, int type,
                                              const ORQSimPosition& ply) const {
    const ORQSimPosition layer = section.CreateDataRecord(type).Pos();
    layer.SetPosition(ORQSimSchema::Layer_ply, ply);
    section.GetVector(ORQSimSchema::Section_layers).PushBack(layer);
    return layer;
}

ORQSimPosition ORQObjSectionBuilder::AddSectionAssignment(const ORQSimPosition& region,
                                                          const ORQSimPosition& section) const {
    const ORQSimPosition assignment =
        m_model.CreateDataRecord(ORQSimSchema::SectionAssignment).Pos();
    assignment.SetPosition(ORQSimSchema::SectionAssignment_region, region);
    assignment.SetPosition(ORQSimSchema::SectionAssignment_section, section);
    m_model.GetVector(ORQSimSchema::Model_sectionAssignments).PushBack(assignment);
    return assignment;
}
