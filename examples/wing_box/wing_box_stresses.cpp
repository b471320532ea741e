// Ply strains, stresses and failure indices of the wing box, by classical lamination theory from a
// strain of each section that is given here as a formula:
//
//   orqmodel import examples/wing_box/wing_box.e -o wing_box.orq
//       --layup examples/wing_box/wing_box_layup.json
//   wing_box_stresses wing_box.orq
//   orqmodel table wing_box.orq --field TSAIW --extreme --stats
#include <cmath>
#include <exception>
#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "LaminateTheory.h"
#include "ORQExcMaterialTable.h"
#include "ORQExcMaterials.h"
#include "ORQExcModel.h"
#include "ORQExcSections.h"
#include "ORQObjMesh.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimDatabase.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ads_ComponentSymbolsEnm.h"

namespace wing_box {
namespace {

constexpr double kSemiSpan = 7.2;  // Metres.
constexpr int kSectionPoints = 3;  // Bottom, middle and top of each layer.
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// The strain that stands in for that of an analysis: most at the root, and less in later sections.
LaminateStrain StrainOf(std::size_t section, double x, double y) {
    const double part = 1.0 / (1.0 + static_cast<double>(section));
    const double outboard = 1 - y / kSemiSpan;
    return {{part * 1e-3 * outboard, part * -3e-4 * outboard, part * 2e-4 * x},
            {part * 0.05 * outboard, part * -0.01 * outboard, part * 0.02}};
}

/// The constants of a material; nothing where one of them is not given.
class Constants {
  public:
    explicit Constants(const ORQSimPosition& material) {
        for (const ORQExcMaterialTable& table : ORQExcReadMaterialTables(material)) {
            for (std::size_t i = 0; table.IsConstant() && i < table.components.size(); ++i) {
                m_numbers.try_emplace(table.components[i].name, table.Value(0, i));
            }
        }
    }
    std::optional<PlyMaterial> Elastic() const {
        return Has({"E1", "E2", "nu12", "G12"})
                   ? std::optional(PlyMaterial{At("E1"), At("E2"), At("nu12"), At("G12")})
                   : std::nullopt;
    }
    std::optional<PlyStrengths> Strengths() const {
        return Has({"Xt", "Xc", "Yt", "Yc", "S"})
                   ? std::optional(PlyStrengths{At("Xt"), At("Xc"), At("Yt"), At("Yc"), At("S")})
                   : std::nullopt;
    }

  private:
    bool Has(std::initializer_list<const char*> names) const {
        for (const char* name : names) {
            if (!m_numbers.contains(name) || std::isnan(m_numbers.at(name))) {
                return false;
            }
        }
        return true;
    }
    double At(const char* name) const { return m_numbers.at(name); }

    std::map<std::string, double> m_numbers;
};

class Analysis {
  public:
    explicit Analysis(const ORQObjDocument& document)
        : m_document(document), m_model(document), m_sections(document), m_steps(document) {
        const ORQExcMaterials materials(document);
        for (const ORQExcMaterials::Material& material : materials.Materials()) {
            m_constants.emplace(material.name, Constants(material.position));
        }
        ReadCentroids();
    }

    void Add() {
        const ORQSimPosition step = m_steps.AddStep("Ply stresses", ORQSimSchema::Step_General);
        const double end = 1;
        m_time = m_steps.AddTimes(step, {&end, 1});
        const std::vector<ORQObjFieldDefinition::Component> plane = {
            {ads_Component11, "11"}, {ads_Component22, "22"}, {ads_Component12, "12"}};
        m_strain = AddField(step, "E", plane);
        m_stress = AddField(step, "S", plane);
        m_tsaiWu = AddField(step, "TSAIW", {});
        m_tsaiHill = AddField(step, "TSAIH", {});
        m_maximumStress = AddField(step, "MSTRS", {});
        for (std::size_t i = 0; i < m_sections.Sections().size(); ++i) {
            AddSection(i);
        }
    }

  private:
    void ReadCentroids() {
        m_centroids.resize(2 * static_cast<std::size_t>(m_model.NumElements()));
        const auto dimension = static_cast<std::size_t>(m_model.Dimension());
        std::vector<double> coordinates(static_cast<std::size_t>(m_model.NumNodes()) * dimension);
        m_model.ReadCoordinates(0, m_model.NumNodes(), coordinates);
        for (const ORQExcModel::Block& block : m_model.Blocks()) {
            const auto nNodes = static_cast<std::size_t>(block.shape->nNodes);
            const int nElements = block.elements.Size();
            std::vector<int> nodes(static_cast<std::size_t>(nElements) * nNodes);
            m_model.ReadConnectivity(block, 0, nElements, nodes);
            for (std::size_t i = 0; i < nodes.size(); ++i) {
                const auto element =
                    static_cast<std::size_t>(block.elements[static_cast<int>(i / nNodes)]);
                for (std::size_t axis = 0; axis < 2; ++axis) {
                    m_centroids[2 * element + axis] +=
                        coordinates[static_cast<std::size_t>(nodes[i]) * dimension + axis] /
                        static_cast<double>(nNodes);
                }
            }
        }
    }

    /// A field in the section points of layers, along their axes; a scalar without components.
    ORQObjMeshedField AddField(const ORQSimPosition& step, const char* name,
                               std::vector<ORQObjFieldDefinition::Component> components) const {
        const bool isScalar = components.empty();
        // Failure indices are labels of one variable in the table of output variables.
        const ORQSimPosition type = m_steps.StandardFieldType(isScalar ? "CFAILURE" : name);
        for (ORQObjFieldDefinition::Component& component : components) {
            component.label = ORQString(name) + component.label;
        }
        if (isScalar) {
            components = {{ads_ComponentNone, name}};
        }
        return m_steps.AddFieldResult(
            step, {name, type, ORQSimSchema::Field_ElementCentroid,
                   ORQObjMesh(m_document.GetMesh()).GetElementCollection(), components, true,
                   isScalar ? ORQObjAxes::Unknown : ORQObjAxes::Layer});
    }

    void AddSection(std::size_t number) {
        const ORQExcSections::Section& section = m_sections.Sections()[number];
        const ORQExcSections::Stack stack = m_sections.Read(section);
        const auto nElements = static_cast<std::size_t>(section.elements.Size());
        const std::size_t nPlaces = stack.layers.size() * kSectionPoints * nElements;
        std::vector<double> strains(3 * nPlaces, kNone);
        std::vector<double> stresses(3 * nPlaces, kNone);
        std::vector<double> tsaiWu(nPlaces, kNone);
        std::vector<double> tsaiHill(nPlaces, kNone);
        std::vector<double> maximumStress(nPlaces, kNone);
        for (std::size_t i = 0; i < nElements; ++i) {
            const auto element = static_cast<std::size_t>(section.elements[static_cast<int>(i)]);
            const LaminateStrain given =
                StrainOf(number, m_centroids[2 * element], m_centroids[2 * element + 1]);
            double total = 0;
            for (const ORQExcSections::Layer& layer : stack.layers) {
                total += layer.thickness.At(i);
            }
            double bottom = -total / 2;
            for (std::size_t k = 0; k < stack.layers.size(); ++k) {
                const ORQExcSections::Layer& layer = stack.layers[k];
                const double thickness = layer.thickness.At(i);
                const double angle = layer.angle.numbers.empty() ? 0 : layer.angle.At(i);
                const Constants& constants = m_constants.at(layer.material);
                const auto elastic = constants.Elastic();
                const auto strengths = constants.Strengths();
                for (std::size_t point = 0; point < kSectionPoints; ++point) {
                    const double z =
                        bottom + thickness * static_cast<double>(point) / (kSectionPoints - 1);
                    const Plane strain = TurnedStrain(StrainAt(given, z), angle);
                    const std::size_t at = (k * kSectionPoints + point) * nElements + i;
                    // A field of strains is a tensor: half of the engineering shear strain.
                    strains[3 * at] = strain[0];
                    strains[3 * at + 1] = strain[1];
                    strains[3 * at + 2] = strain[2] / 2;
                    if (!elastic) {
                        continue;
                    }
                    const Plane stress = StressOf(strain, *elastic);
                    std::copy(stress.begin(), stress.end(),
                              stresses.begin() + static_cast<std::ptrdiff_t>(3 * at));
                    if (strengths) {
                        const FailureIndices indices = IndicesOf(stress, *strengths);
                        tsaiWu[at] = indices.tsaiWu;
                        tsaiHill[at] = indices.tsaiHill;
                        maximumStress[at] = indices.maximumStress;
                    }
                }
                bottom += thickness;
            }
        }
        const int nLayers = static_cast<int>(stack.layers.size());
        WriteLayers(m_strain, section.elements, {0, nLayers - 1}, strains);
        for (const ORQSimIntRange layers : LayersWith(stack, &Constants::Elastic)) {
            WriteLayers(m_stress, section.elements, layers, stresses);
        }
        for (const ORQSimIntRange layers : LayersWith(stack, &Constants::Strengths)) {
            WriteLayers(m_tsaiWu, section.elements, layers, tsaiWu);
            WriteLayers(m_tsaiHill, section.elements, layers, tsaiHill);
            WriteLayers(m_maximumStress, section.elements, layers, maximumStress);
        }
    }

    /// Runs of layers of materials that have some constants. Others get no values, which is not the
    /// same as values that are no numbers.
    template <class Has>
    std::vector<ORQSimIntRange> LayersWith(const ORQExcSections::Stack& stack, Has has) const {
        std::vector<ORQSimIntRange> runs;
        for (int k = 0; k < std::ssize(stack.layers); ++k) {
            const Constants& constants =
                m_constants.at(stack.layers[static_cast<std::size_t>(k)].material);
            if (!std::invoke(has, constants)) {
                continue;
            }
            if (!runs.empty() && runs.back().Last() == k - 1) {
                runs.back() = {runs.back().First(), k};
            } else {
                runs.emplace_back(k, k);
            }
        }
        return runs;
    }

    /// Writes some layers of values[all layers][section points][elements][components].
    void WriteLayers(const ORQObjMeshedField& field, const ORQSimCSet& elements,
                     ORQSimIntRange layers, const std::vector<double>& values) const {
        const auto first = static_cast<std::size_t>(layers.First()) * kSectionPoints *
                           static_cast<std::size_t>(elements.Size()) *
                           static_cast<std::size_t>(field.GetComponents().Size());
        field.WriteView(m_time, {elements, layers, {0, kSectionPoints - 1}, {}},
                        values.data() + first);
    }

    ORQObjDocument m_document;
    ORQExcModel m_model;
    ORQExcSections m_sections;
    ORQObjStepBuilder m_steps;
    std::map<std::string, Constants> m_constants;  // by material
    std::vector<double> m_centroids;               // [elements][x, y]
    ORQSimCSetID m_time;
    ORQObjMeshedField m_strain;
    ORQObjMeshedField m_stress;
    ORQObjMeshedField m_tsaiWu;
    ORQObjMeshedField m_tsaiHill;
    ORQObjMeshedField m_maximumStress;
};

}  // namespace
}  // namespace wing_box

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: wing_box_stresses NAME.orq\n";
        return 2;
    }
    try {
        const ORQSimDatabase database =
            ORQSimDatabase::Open(argv[1], ORQSimDatabase::Mode::ReadWrite);
        ORQSimTransaction transaction(database.ContextID());
        wing_box::Analysis(ORQObjDocument(database)).Add();
        transaction.Commit();
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "wing_box_stresses: " << failure.what() << '\n';
        return 1;
    }
}
