#include "mesh/Layup.h"

#include <fmt/format.h>

#include <memory>

#include "ORQBasFailure.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvBulkShellLayers.h"

namespace orqmodel {
namespace {

// Fields of the records. Stored, do not change.
constexpr int kMaterialKindField = 1;
constexpr int kMaterialConstantsField = 2;
constexpr int kSectionKindField = 2;
constexpr int kSectionConstantsField = 3;

class Writer {
  public:
    Writer(const Layup& layup, const ORQObjDocument& document)
        : m_layup(layup), m_document(document), m_builder(document) {}

    void Write() {
        for (const Layup::Material& material : m_layup.materials) {
            const ORQSimPosition position = m_builder.AddMaterial(material.name, material.number);
            PutConstants(position, material, kMaterialKindField, kMaterialConstantsField);
            m_materials.push_back(Member(position));
        }
        for (const Layup::Orientation& orientation : m_layup.orientations) {
            m_orientations.push_back(Member(m_builder.AddOrientation(
                orientation.name, orientation.number, orientation.axis1, orientation.axis2)));
        }
        for (const Layup::Ply& ply : m_layup.plies) {
            m_plies.push_back(Member(m_builder.AddPly(ply.name, ply.number)));
        }
        for (const Layup::Section& section : m_layup.sections) {
            const ORQSimPosition position = m_builder.AddShellSection(
                section.name, section.number, static_cast<int>(section.layers.size()));
            PutConstants(position, section, kSectionKindField, kSectionConstantsField);
            m_sections.push_back(position);
        }
        for (const Layup::Assignment& assignment : m_layup.assignments) {
            m_builder.AddSectionAssignment(
                Region(assignment.elementSet),
                m_sections[static_cast<std::size_t>(assignment.section)]);
        }
        WriteLayers();
    }

  private:
    int Member(const ORQSimPosition& object) const { return m_document.GetCMemberIndex(object); }

    template <class Object>
    static void PutConstants(const ORQSimPosition& position, const Object& object, int kindField,
                             int constantsField) {
        const ORQSimDataRecord record = position.DataRecord();
        if (!object.kind.empty()) {
            record.SetString(kindField, object.kind);
            record.SetDouble(constantsField, static_cast<int>(object.constants.size()),
                             object.constants.data());
        }
    }

    ORQSimPosition Region(const std::string& elementSet) const {
        const ORQSimPosition region = m_document.GetModel()
                                          .GetMap(ORQSimSchema::Model_elementSets)
                                          .Find(elementSet)
                                          .Parent(ORQSimSchema::Region_elementsCluster);
        if (region.IsNull()) {
            throw ORQBasFailure(ORQBasFailureKind::Usage,
                                fmt::format("the model has no element set \"{}\"", elementSet));
        }
        return region;
    }

    ORQSimPosition FieldOf(const std::vector<double>& values) const {
        const ORQSimPosition field = m_document.CreateDataRecord(ORQSimSchema::Field_FTable).Pos();
        const int count = static_cast<int>(values.size());
        field.SetPosition(ORQSimSchema::Field_fTable,
                          field.CreateSimpleFTable(count, {}, {}, values.data(), count));
        return field;
    }

    void WriteLayers() {
        auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
        const auto clean = [](ORQSrvBulkShellLayers* all) { all->Clean(); };
        const std::unique_ptr<ORQSrvBulkShellLayers, decltype(clean)> cleanAtEnd(&layers, clean);
        for (std::size_t i = 0; i < m_sections.size(); ++i) {
            const int section = Member(m_sections[i]);
            int number = 0;
            for (const Layup::Layer& layer : m_layup.sections[i].layers) {
                AppendLayer(layers, layer, number++, section);
            }
        }
        layers.WriteBulkDistributions(m_document.GetModel());
    }

    void AppendLayer(ORQSrvBulkShellLayers& layers, const Layup::Layer& layer, int number,
                     int section) const {
        const auto member = [](const std::vector<int>& members, int place) {
            return place == Layup::kNone ? -1 : members[static_cast<std::size_t>(place)];
        };
        layers.AppendMaterial(number, section, member(m_materials, layer.material));
        layers.AppendOrientation(number, section, member(m_orientations, layer.orientation));
        layers.AppendPly(number, section, member(m_plies, layer.ply));
        layers.AppendNumSectionPoints(number, section, layer.sectionPoints);
        if (layer.thickness) {
            layers.AppendConstThickness(number, section, *layer.thickness);
        }
        if (layer.angle) {
            layers.AppendConstAngle(number, section, *layer.angle);
        }
        for (const Layup::Field& field : layer.thicknesses) {
            layers.AppendDistThickness(number, Region(field.elementSet), FieldOf(field.values));
        }
        for (const Layup::Field& field : layer.angles) {
            layers.AppendDistAngle(number, Region(field.elementSet), FieldOf(field.values));
        }
    }

    const Layup& m_layup;
    const ORQObjDocument& m_document;
    ORQObjSectionBuilder m_builder;
    std::vector<int> m_materials;  // member numbers by place
    std::vector<int> m_orientations;
    std::vector<int> m_plies;
    std::vector<ORQSimPosition> m_sections;
};

}  // namespace

void WriteLayup(const Layup& layup, const ORQObjDocument& document) {
    Writer(layup, document).Write();
}

}  // namespace orqmodel
