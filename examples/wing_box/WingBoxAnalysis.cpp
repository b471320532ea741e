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
        : document_(document),
          model_(document.GetModel()),
          mesh_(document.GetMesh()),
          steps_(document),
          regions_(document) {}

    void Add() const {
        AddGust();
        AddOtherSteps();
        AddSaddle();
        for (const char* surface : {"upper_skin_outer", "lower_skin_outer"})
            regions_.AddOutputRegion(Surface(surface));
        AddLayers();
    }

  private:
    ORQSimPosition Surface(const char* name) const {
        return model_.GetMap(ORQSimSchema::Model_surfaces).Find(name);
    }
    ORQSimPosition NodeSet(const char* name) const {
        return model_.GetMap(ORQSimSchema::Model_nodeSets).Find(name);
    }

    ORQObjFieldDefinition Displacement(std::vector<ORQObjFieldDefinition::Component> parts) const {
        return {"U", steps_.StandardFieldType("U_D"), ORQSimSchema::Field_Nodal,
                mesh_.GetNodeCollection(), std::move(parts)};
    }

    /// The box bends upwards with the square of the distance from the root.
    void AddGust() const {
        const ORQSimPosition step = steps_.AddStep("Gust", ORQSimSchema::Step_General);
        const std::array times = {0.5, 1.0};
        const ORQSimCSetID added = steps_.AddTimes(step, times);
        const ORQObjMeshedField everywhere = steps_.AddFieldResult(
            step,
            Displacement({{ads_Component1, "U1"}, {ads_Component2, "U2"}, {ads_Component3, "U3"}}));
        const ORQObjMeshedField tip =
            steps_.AddHistoryField(step, Displacement({{ads_Component3, "U3"}}));

        const ORQSimCSet nodes(mesh_.GetNodeCollection());
        const ORQSimCSet tip_nodes = NodeSet("tip_rib").CSet();
        const std::vector<double> deflections = Deflections(nodes);
        std::vector<double> values;
        std::vector<double> tip_values;
        for (const double time : times) {
            for (const double deflection : deflections)
                values.insert(values.end(), {0.0, 0.0, time * deflection});
            for (ORQSimCSetIterator i(tip_nodes); !i.IsDone(); i.Next())
                tip_values.push_back(time *
                                     deflections[static_cast<std::size_t>(i.CurrentValue())]);
        }
        everywhere.Write(added, nodes, values.data());
        tip.Write(added, tip_nodes, tip_values.data());

        const std::array skins = {Surface("upper_skin_outer"), Surface("lower_skin_outer")};
        steps_.AddOutputRequest(steps_.AddUserOutputRequest("skin displacement", skins),
                                {&everywhere, 1});
        const std::array tip_region = {
            NodeSet("tip_rib").Parent(ORQSimSchema::Region_nodesCluster)};
        steps_.AddOutputRequest(steps_.AddUserOutputRequest("tip deflection", tip_region),
                                {&tip, 1});
    }

    std::vector<double> Deflections(const ORQSimCSet& nodes) const {
        const std::array direction = {2};
        const ORQSimCSet y = ORQSimCollection(document_.GetComponentCollection().GetCollection())
                                 .CreateVolatileCSet(direction.data(), 1, true);
        std::vector<double> deflections(static_cast<std::size_t>(nodes.Size()));
        ORQSrvNodalCoordinates(mesh_.GetCoordinates(), nodes.Size())
            .Read(nodes, y, deflections.data());
        for (double& value : deflections)
            value = kTipDeflection * std::pow(value / kSemiSpan, 2);
        return deflections;
    }

    void AddOtherSteps() const {
        const ORQSimPosition buckling = steps_.AddStep("Buckling", ORQSimSchema::Step_Lin_Buckle);
        steps_.SetModes(buckling, std::array{1.42, 1.67, 1.9});

        const ORQSimPosition collapse =
            steps_.AddStep("Collapse", ORQSimSchema::Step_Gen_StaticRiks);
        steps_.SetTimeIncrementation(collapse, 0.05, 1.0);
        steps_.AddTimes(collapse, std::array{0.25, 0.5, 1.0});
        steps_.SetArcLengths(collapse, std::array{0.3, 0.7, 1.2});

        const std::array frequencies = {3.1, 11.8, 14.6};
        std::vector<double> eigenvalues;
        for (const double frequency : frequencies)
            eigenvalues.push_back(std::pow(2 * std::numbers::pi * frequency, 2));
        const ORQSimPosition vibration =
            steps_.AddStep("Vibration", ORQSimSchema::Step_Lin_Frequency);
        steps_.SetModes(vibration, eigenvalues);
        steps_.SetFrequencies(vibration, frequencies);
    }

    /// A drum across the tip on which the box is laid down, shown by one line along its axis.
    void AddSaddle() const {
        const ORQObjRegionBuilder::Point front = {0.0, kSemiSpan, -0.4};
        const ORQObjRegionBuilder::Point rear = {3.0, kSemiSpan, -0.4};
        const ORQSimPosition drum = regions_.AddSurfaceOfRevolution("tip_saddle", 900, front, rear);
        const std::array profile = {0.0, kSemiSpan, -0.2, 3.0, kSemiSpan, -0.2};
        regions_.SetSurfaceMesh(drum, profile, std::array{0, 1}, 2);
        regions_.AddRigidBody("tip_saddle_body", NodeSet("tip_rib").CSet()[0], drum);
    }

    /// Records of the layers of all sections, with their plies.
    void AddLayers() const {
        const ORQObjSectionBuilder builder(document_);
        const ORQSimMap sections = model_.GetMap(ORQSimSchema::Model_sectionNames);
        for (auto section = sections.Begin(); section.NotDone(); ++section) {
            const ORQSrvShellSection layers(*section);
            for (const ORQSimPosition& ply : layers.GetPlies())
                builder.AddLayer(*section, ORQSimSchema::Layer_General, ply);
        }
    }

    const ORQObjDocument& document_;
    ORQSimPosition model_;
    ORQObjMesh mesh_;
    ORQObjStepBuilder steps_;
    ORQObjRegionBuilder regions_;
};

}  // namespace

void AddAnalysis(const ORQObjDocument& document) {
    Analysis(document).Add();
}

}  // namespace wing_box
