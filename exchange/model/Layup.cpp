#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "ORQBasFailure.h"
#include "ORQExcLayup.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSrvBulkShellLayers.h"
#include "ORQSrvShellSection.h"
#include "model/ReadableSection.h"

namespace {

constexpr int kMostConstants = 1 << 20;  // far more than any card has

constexpr double kNoAngle = std::numeric_limits<double>::quiet_NaN();

class LayupWriter {
  public:
    LayupWriter(const ORQExcLayup& layup, const ORQObjDocument& document)
        : m_layup(layup), m_document(document), m_builder(document) {}

    void Write() {
        CheckFieldsAreNew();
        for (const ORQExcLayup::Material& material : m_layup.materials) {
            const ORQSimPosition position = m_builder.AddMaterial(material.name, material.number);
            position.DataRecord().SetString(ORQSimRecordField::Material_kind, material.kind);
            ORQExcWriteMaterialTables(m_document, position, material.tables);
            m_materials.push_back(Member(position));
        }
        for (const ORQExcLayup::Orientation& orientation : m_layup.orientations) {
            m_orientations.push_back(Member(m_builder.AddOrientation(
                orientation.name, orientation.number, orientation.axis1, orientation.axis2)));
        }
        for (const ORQExcLayup::Ply& ply : m_layup.plies) {
            m_plies.push_back(Member(m_builder.AddPly(ply.name, ply.number)));
        }
        for (const ORQExcLayup::Section& section : m_layup.sections) {
            const ORQSimPosition position = m_builder.AddShellSection(
                section.name, section.number, static_cast<int>(section.layers.size()));
            PutConstants(position, section);
            PutNominalAngles(position, section);
            m_sections.push_back(position);
        }
        for (const ORQExcLayup::Assignment& assignment : m_layup.assignments) {
            m_builder.AddSectionAssignment(
                Region(assignment.elementSet),
                m_sections[static_cast<std::size_t>(assignment.section)]);
        }
        WriteLayers();
    }

  private:
    /// Refuses a second field of thicknesses or angles that vary over elements: such a field is
    /// written whole, and not edited.
    void CheckFieldsAreNew() const {
        const auto varies = [&](auto fields) {
            return std::ranges::any_of(m_layup.sections, [&](const ORQExcLayup::Section& section) {
                return std::ranges::any_of(section.layers, [&](const ORQExcLayup::Layer& layer) {
                    return !(layer.*fields).empty();
                });
            });
        };
        const ORQSimPosition data =
            m_document.GetModel().GetPosition(ORQSimSchema::Model_sectionData);
        const auto check = [&](auto fields, int slot, const char* what) {
            if (varies(fields) && !data.GetPosition(slot).IsNull()) {
                ORQBasThrowUsage(
                    fmt::format("the model has {} that vary over the elements already", what));
            }
        };
        check(&ORQExcLayup::Layer::thicknesses, ORQSimSchema::SectionData_distributedThicknesses,
              "thicknesses");
        check(&ORQExcLayup::Layer::angles, ORQSimSchema::SectionData_distributedAngles, "angles");
    }

    int Member(const ORQSimPosition& object) const { return m_document.GetCMemberIndex(object); }

    static void PutConstants(const ORQSimPosition& position, const ORQExcLayup::Section& section) {
        const ORQSimDataRecord record = position.DataRecord();
        if (!section.kind.empty()) {
            const int count = static_cast<int>(section.constants.size());
            record.SetString(ORQSimRecordField::Section_layered_kind, section.kind);
            record.SetInt(ORQSimRecordField::Section_layered_numConstants, count);
            record.SetDouble(ORQSimRecordField::Section_layered_constants, count,
                             section.constants.data());
        }
    }

    static void PutNominalAngles(const ORQSimPosition& position,
                                 const ORQExcLayup::Section& section) {
        std::vector<double> angles;
        for (const ORQExcLayup::Layer& layer : section.layers) {
            angles.push_back(layer.nominalAngle.value_or(kNoAngle));
        }
        if (std::ranges::all_of(angles, [](double angle) { return std::isnan(angle); })) {
            return;
        }
        const int count = static_cast<int>(angles.size());
        position.DataRecord().SetInt(ORQSimRecordField::Section_layered_numNominalAngles, count);
        position.DataRecord().SetDouble(ORQSimRecordField::Section_layered_nominalAngles, count,
                                        angles.data());
    }

    /// The region of an element set; each is searched once, since thousands of layers name a few
    /// sets.
    const ORQSimPosition& Region(const std::string& elementSet) {
        const auto [at, isNew] = m_regions.try_emplace(elementSet);
        if (isNew) {
            at->second = FindRegion(elementSet);
        }
        return at->second;
    }

    ORQSimPosition FindRegion(const std::string& elementSet) const {
        const ORQSimPosition region = m_document.GetModel()
                                          .GetMap(ORQSimSchema::Model_elementSets)
                                          .Find(elementSet)
                                          .Parent(ORQSimSchema::Region_elementsCluster);
        if (region.IsNull()) {
            ORQBasThrowUsage(fmt::format("the model has no element set \"{}\"", elementSet));
        }
        return region;
    }

    /// The field of some values. Layers of a section that have the same values share it.
    const ORQSimPosition& FieldOf(const std::vector<double>& values) {
        const auto [at, isNew] = m_fields.try_emplace(values);
        if (isNew) {
            at->second = MakeField(values);
        }
        return at->second;
    }

    ORQSimPosition MakeField(const std::vector<double>& values) const {
        const ORQSimPosition field = m_document.CreateDataRecord(ORQSimSchema::Field_FTable).Pos();
        const int count = static_cast<int>(values.size());
        field.SetPosition(ORQSimSchema::Field_fTable,
                          field.CreateSimpleFTable(count, {}, {}, values.data(), count));
        return field;
    }

    void WriteLayers() {
        auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
        const auto clean = [](ORQSrvBulkShellLayers* all) { all->Clean(); };
        // The service is a singleton: without this, layers of a failed import would be in the next
        // one.
        const std::unique_ptr<ORQSrvBulkShellLayers, decltype(clean)> cleanAtEnd(&layers, clean);
        for (std::size_t i = 0; i < m_sections.size(); ++i) {
            const int section = Member(m_sections[i]);
            int number = 0;
            for (const ORQExcLayup::Layer& layer : m_layup.sections[i].layers) {
                AppendLayer(layers, layer, number++, section);
            }
            // The keys are the values themselves, so they are held for one section only.
            m_fields.clear();
        }
        layers.WriteBulkDistributions(m_document.GetModel());
    }

    void AppendLayer(ORQSrvBulkShellLayers& layers, const ORQExcLayup::Layer& layer, int number,
                     int section) {
        const auto member = [](const std::vector<int>& members, int place) {
            return place == ORQExcLayup::kNone ? -1 : members[static_cast<std::size_t>(place)];
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
        for (const ORQExcLayup::Field& field : layer.thicknesses) {
            layers.AppendDistThickness(number, Region(field.elementSet), FieldOf(field.values));
        }
        for (const ORQExcLayup::Field& field : layer.angles) {
            layers.AppendDistAngle(number, Region(field.elementSet), FieldOf(field.values));
        }
    }

    const ORQExcLayup& m_layup;
    const ORQObjDocument& m_document;
    ORQObjSectionBuilder m_builder;
    std::vector<int> m_materials;  // member numbers by place
    std::vector<int> m_orientations;
    std::vector<int> m_plies;
    std::vector<ORQSimPosition> m_sections;
    std::map<std::string, ORQSimPosition> m_regions;
    std::map<std::vector<double>, ORQSimPosition> m_fields;  // of the section at hand
};

class Reader {
  public:
    Reader(const ORQObjDocument& document,
           const std::function<void(const std::string&)>& onUnreadable)
        : m_document(document), m_model(document.GetModel()), m_onUnreadable(onUnreadable) {}

    ORQExcLayup Read() {
        using namespace ORQSimSchema;
        ReadNamed(
            m_document.GetMaterialCollection(), ORQSimRecordField::Material_number,
            m_layup.materials, m_materials,
            [](const ORQSimPosition& position, ORQExcLayup::Material& material) {
                material.kind =
                    position.DataRecord().ReturnString(ORQSimRecordField::Material_kind).UTF8();
                material.tables = ORQExcReadMaterialTables(position);
            });
        ReadNamed(m_model.GetPosition(Model_orientationCollection),
                  ORQSimRecordField::Orientation_number, m_layup.orientations, m_orientations,
                  [](const ORQSimPosition& position, ORQExcLayup::Orientation& orientation) {
                      position.DataRecord().GetDouble(ORQSimRecordField::Orientation_axis1, 3,
                                                      orientation.axis1.data());
                      position.DataRecord().GetDouble(ORQSimRecordField::Orientation_axis2, 3,
                                                      orientation.axis2.data());
                  });
        ReadNamed(m_model.GetPosition(Model_plyCollection), ORQSimRecordField::Ply_number,
                  m_layup.plies, m_plies, [](const ORQSimPosition&, ORQExcLayup::Ply&) {});
        ReadNamed(m_model.GetPosition(Model_sections), ORQSimRecordField::Section_layered_number,
                  m_layup.sections, m_sections,
                  [this](const ORQSimPosition& position, ORQExcLayup::Section& section) {
                      GetConstants(position, section);
                      ReadLayersIfReadable(position, section);
                  });
        ReadAssignments();
        return std::move(m_layup);
    }

  private:
    using Places = std::map<int, int>;  // in a list, by member number

    template <class Object, class ReadRest>
    static void ReadNamed(const ORQSimPosition& position, int numberField,
                          std::vector<Object>& objects, Places& places, ReadRest readRest) {
        if (position.IsNull()) {
            return;
        }
        const ORQSimCollection collection(position.GetCollection());
        for (int member = 0; member < collection.Space(); ++member) {
            const ORQSimPosition one = collection.GetMember(member);
            if (one.IsNull()) {
                continue;
            }
            Object object{};
            object.name = one.Name(ORQSimSchema::Record_name).UTF8();
            object.number = one.DataRecord().GetInt(numberField);
            readRest(one, object);
            places[member] = static_cast<int>(objects.size());
            objects.push_back(std::move(object));
        }
    }

    static void GetConstants(const ORQSimPosition& position, ORQExcLayup::Section& section) {
        const ORQSimDataRecord record = position.DataRecord();
        section.kind = record.ReturnString(ORQSimRecordField::Section_layered_kind).UTF8();
        if (section.kind.empty()) {
            return;
        }
        const int count = record.GetInt(ORQSimRecordField::Section_layered_numConstants);
        if (count < 0 || count > kMostConstants) {
            throw ORQBasFailure(
                ORQBasFailureKind::Damaged,
                fmt::format("section \"{}\": has {} constants", section.name, count));
        }
        section.constants.resize(static_cast<std::size_t>(count));
        record.GetDouble(ORQSimRecordField::Section_layered_constants, count,
                         section.constants.data());
    }

    int PlaceOf(const ORQSimPosition& object, const Places& places) const {
        if (object.IsNull()) {
            return ORQExcLayup::kNone;
        }
        const auto found = places.find(m_document.GetCMemberIndex(object));
        if (found == places.end()) {
            throw ORQBasFailure(ORQBasFailureKind::Damaged,
                                fmt::format("\"{}\": is used by a section and is no member of its "
                                            "collection",
                                            object.Name(ORQSimSchema::Record_name).UTF8()));
        }
        return found->second;
    }

    void ReadLayersIfReadable(const ORQSimPosition& position, ORQExcLayup::Section& section) const {
        try {
            ReadLayers(position, section);
        } catch (const ORQBasFailure& failure) {
            if (!m_onUnreadable) {
                throw;
            }
            section.layers.clear();
            m_onUnreadable(failure.Text());
        }
    }

    void ReadLayers(const ORQSimPosition& position, ORQExcLayup::Section& section) const {
        const ORQSrvShellSection layers = orq::exchange::ReadableSection(position);
        const auto constant = [](const ORQSrvShellSection::VariationEnm& variation, double value) {
            return variation == ORQSrvShellSection::VariationConstant ? std::optional(value)
                                                                      : std::nullopt;
        };
        for (std::size_t i = 0; i < static_cast<std::size_t>(layers.GetNumLayers()); ++i) {
            ORQExcLayup::Layer layer;
            layer.material = PlaceOf(layers.GetMaterials()[i], m_materials);
            layer.orientation = PlaceOf(layers.GetOrientations()[i], m_orientations);
            layer.ply = PlaceOf(layers.GetPlies()[i], m_plies);
            layer.sectionPoints = layers.GetSectionPoints()[i];
            layer.thickness =
                constant(layers.GetThicknessVariations()[i], layers.GetConstThicknesses()[i]);
            layer.angle = constant(layers.GetRotationAngleVariations()[i],
                                   layers.GetConstRotationAngles()[i]);
            section.layers.push_back(std::move(layer));
        }
        const ORQSimDataRecord record = position.DataRecord();
        if (record.GetInt(ORQSimRecordField::Section_layered_numNominalAngles) ==
            static_cast<int>(section.layers.size())) {
            std::vector<double> angles(section.layers.size());
            record.GetDouble(ORQSimRecordField::Section_layered_nominalAngles,
                             static_cast<int>(angles.size()), angles.data());
            for (std::size_t i = 0; i < angles.size(); ++i) {
                section.layers[i].nominalAngle =
                    std::isnan(angles[i]) ? std::nullopt : std::optional(angles[i]);
            }
        }
    }

    void ReadAssignments() {
        using namespace ORQSimSchema;
        std::map<int, std::string> setsByRegion;
        const ORQSimCollection regions(m_model.GetPosition(Model_regions).GetCollection());
        const ORQSimMap sets = m_model.GetMap(Model_elementSets);
        for (auto entry = sets.Begin(); entry.NotDone(); ++entry) {
            setsByRegion[regions.MemberIndex((*entry).Parent(Region_elementsCluster))] =
                entry.Key().UTF8();
        }
        const ORQSimVector assignments = m_model.GetVector(Model_sectionAssignments);
        for (auto i = assignments.Begin(); i.NotDone(); ++i) {
            const ORQSimPosition assignment = *i;
            const auto set = setsByRegion.find(
                regions.MemberIndex(assignment.GetPosition(SectionAssignment_region)));
            if (set != setsByRegion.end()) {
                m_layup.assignments.push_back(
                    {set->second,
                     PlaceOf(assignment.GetPosition(SectionAssignment_section), m_sections)});
            }
        }
    }

    const ORQObjDocument& m_document;
    ORQSimPosition m_model;
    const std::function<void(const std::string&)>& m_onUnreadable;
    ORQExcLayup m_layup;
    Places m_materials;
    Places m_orientations;
    Places m_plies;
    Places m_sections;
};

}  // namespace

void ORQExcWriteLayup(const ORQExcLayup& layup, const ORQObjDocument& document) {
    LayupWriter(layup, document).Write();
}

ORQExcLayup ORQExcReadLayup(const ORQObjDocument& document,
                            const std::function<void(const std::string&)>& onUnreadable) {
    return Reader(document, onUnreadable).Read();
}
