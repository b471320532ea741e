#include "WingBoxAnalysis.h"

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjRegionBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvNodalCoordinates.h"
#include "ORQSrvShellSection.h"
#include "ads_ComponentSymbolsEnm.h"

namespace wing_box {
namespace {

constexpr double kSemiSpan = 7.2;       // Metres.
constexpr double kTipDeflection = 0.3;  // At the end of the first step.

class Analysis {
  public:
    explicit Analysis(const ORQObjDocument& document)
        : m_document(document),
          m_model(document.GetModel()),
          m_mesh(document.GetMesh()),
          m_steps(document),
          m_regions(document) {}

    void Add() const {
        AddGust();
        AddOtherSteps();
        AddSaddle();
        for (const char* surface : {"upper_skin_outer", "lower_skin_outer"}) {
            m_regions.AddOutputRegion(Surface(surface));
        }
        AddLayers();
    }

  private:
    ORQSimPosition Surface(const char* name) const {
        return m_model.GetMap(ORQSimSchema::Model_surfaces).Find(name);
    }
    ORQSimPosition NodeSet(const char* name) const {
        return m_model.GetMap(ORQSimSchema::Model_nodeSets).Find(name);
    }

    ORQObjFieldDefinition Displacement(std::vector<ORQObjFieldDefinition::Component> parts) const {
        return {"U", m_steps.StandardFieldType("U_D"), ORQSimSchema::Field_Nodal,
                m_mesh.GetNodeCollection(), std::move(parts)};
    }

    /// The box bends upwards with the square of the distance from the root.
    void AddGust() const {
        const ORQSimPosition step = m_steps.AddStep("Gust", ORQSimSchema::Step_General);
        const std::array times = {0.5, 1.0};
        const ORQSimCSetID added = m_steps.AddTimes(step, times);
        const ORQObjMeshedField everywhere = m_steps.AddFieldResult(
            step,
            Displacement({{ads_Component1, "U1"}, {ads_Component2, "U2"}, {ads_Component3, "U3"}}));
        const ORQObjMeshedField tip =
            m_steps.AddHistoryField(step, Displacement({{ads_Component3, "U3"}}));

        const ORQSimCSet nodes(m_mesh.GetNodeCollection());
        const ORQSimCSet tipNodes = NodeSet("tip_rib").CSet();
        const std::vector<double> deflections = Deflections(nodes);
        std::vector<double> values;
        std::vector<double> tipValues;
        for (const double time : times) {
            for (const double deflection : deflections) {
                values.insert(values.end(), {0.0, 0.0, time * deflection});
            }
            for (ORQSimCSetIterator i(tipNodes); !i.IsDone(); i.Next()) {
                tipValues.push_back(time * deflections[static_cast<std::size_t>(i.CurrentValue())]);
            }
        }
        everywhere.Write(added, nodes, values.data());
        tip.Write(added, tipNodes, tipValues.data());

        const std::array skins = {Surface("upper_skin_outer"), Surface("lower_skin_outer")};
        m_steps.AddOutputRequest(m_steps.AddUserOutputRequest("skin displacement", skins),
                                 {&everywhere, 1});
        const std::array tipRegion = {NodeSet("tip_rib").Parent(ORQSimSchema::Region_nodesCluster)};
        m_steps.AddOutputRequest(m_steps.AddUserOutputRequest("tip deflection", tipRegion),
                                 {&tip, 1});
    }

    std::vector<double> Deflections(const ORQSimCSet& nodes) const {
        const std::array direction = {2};
        const ORQSimCSet y = ORQSimCollection(m_document.GetComponentCollection().GetCollection())
                                 .CreateVolatileCSet(direction.data(), 1, true);
        std::vector<double> deflections(static_cast<std::size_t>(nodes.Size()));
        ORQSrvNodalCoordinates(m_mesh.GetCoordinates(), nodes.Size())
            .Read(nodes, y, deflections.data());
        for (double& value : deflections) {
            value = kTipDeflection * std::pow(value / kSemiSpan, 2);
        }
        return deflections;
    }

    void AddOtherSteps() const {
        const ORQSimPosition buckling = m_steps.AddStep("Buckling", ORQSimSchema::Step_Lin_Buckle);
        m_steps.SetModes(buckling, std::array{1.42, 1.67, 1.9});

        const ORQSimPosition collapse =
            m_steps.AddStep("Collapse", ORQSimSchema::Step_Gen_StaticRiks);
        m_steps.SetTimeIncrementation(collapse, 0.05, 1.0);
        m_steps.AddTimes(collapse, std::array{0.25, 0.5, 1.0});
        m_steps.SetArcLengths(collapse, std::array{0.3, 0.7, 1.2});

        const std::array frequencies = {3.1, 11.8, 14.6};
        std::vector<double> eigenvalues;
        for (const double frequency : frequencies) {
            eigenvalues.push_back(std::pow(2 * std::numbers::pi * frequency, 2));
        }
        const ORQSimPosition vibration =
            m_steps.AddStep("Vibration", ORQSimSchema::Step_Lin_Frequency);
        m_steps.SetModes(vibration, eigenvalues);
        m_steps.SetFrequencies(vibration, frequencies);
    }

    /// A drum across the tip on which the box is laid down, shown by one line along its axis.
    void AddSaddle() const {
        const ORQObjRegionBuilder::Point front = {0.0, kSemiSpan, -0.4};
        const ORQObjRegionBuilder::Point rear = {3.0, kSemiSpan, -0.4};
        const ORQSimPosition drum =
            m_regions.AddSurfaceOfRevolution("tip_saddle", 900, front, rear);
        const std::array profile = {0.0, kSemiSpan, -0.2, 3.0, kSemiSpan, -0.2};
        m_regions.SetSurfaceMesh(drum, profile, std::array{0, 1}, 2);
        m_regions.AddRigidBody("tip_saddle_body", NodeSet("tip_rib").CSet()[0], drum);
    }

    /// Records of the layers of all sections, with their plies.
    void AddLayers() const {
        const ORQObjSectionBuilder builder(m_document);
        const ORQSimMap sections = m_model.GetMap(ORQSimSchema::Model_sectionNames);
        for (auto section = sections.Begin(); section.NotDone(); ++section) {
            const ORQSrvShellSection layers(*section);
            for (const ORQSimPosition& ply : layers.GetPlies()) {
                builder.AddLayer(*section, ORQSimSchema::Layer_General, ply);
            }
        }
    }

    const ORQObjDocument& m_document;
    ORQSimPosition m_model;
    ORQObjMesh m_mesh;
    ORQObjStepBuilder m_steps;
    ORQObjRegionBuilder m_regions;
};

}  // namespace

void AddAnalysis(const ORQObjDocument& document) {
    Analysis(document).Add();
}

}  // namespace wing_box
