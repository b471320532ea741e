// Steps, their times and the fields of their results.
#include <optional>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "Vocabulary.h"

namespace {

using Doubles = std::vector<double>;

class StepTest : public DatabaseTest {
  protected:
    void SetUp() override {
        m_transaction.emplace(Database().ContextID());
        ORQObjModelBuilder(Database()).AddNodes(5);
    }
    void CommitAndReopen() {
        m_transaction->Commit();
        m_transaction.reset();
        m_store.Reopen();
        m_transaction.emplace(Database().ContextID());
    }
    ORQObjDocument Document() const { return ORQObjDocument(Database()); }
    ORQSimPosition Nodes() const { return ORQObjMesh(Document().GetMesh()).GetNodeCollection(); }
    ORQSimCSet NodeSet(const Ints& members) const {
        return ORQSimCollection(Nodes().GetCollection())
            .CreateVolatileOrderedCSet(members.data(), static_cast<int>(members.size()));
    }
    ORQObjStep Step(const char* name) const {
        return ORQObjModel(Document().GetModel()).GetStep(name);
    }

    std::optional<ORQSimTransaction> m_transaction;
};

// The components 11, 22, 12 of a symmetric tensor: not in the order of their codes.
ORQObjFieldDefinition Stress(const ORQObjStepBuilder& builder, const ORQSimPosition& members) {
    return {"S",
            builder.StandardFieldType("S"),
            ORQSimSchema::Field_Nodal,
            members,
            {{1, "stress_xx"}, {14, "stress_yy"}, {5, "stress_xy"}}};
}

}  // namespace

ON_BOTH_MEDIA(StepTest);

TEST_P(StepTest, ResultsGrowTimeByTimeAndComeBackInAnotherProcess) {
    {
        const ORQObjStepBuilder builder(Document());
        const ORQSimPosition step = builder.AddStep("Loading", ORQSimSchema::Step_General);
        const ORQObjMeshedField stress = builder.AddFieldResult(step, Stress(builder, Nodes()));
        const Doubles twoTimes = {0.25, 0.5};
        stress.Write(builder.AddTimes(step, twoTimes), NodeSet({0, 3}),
                     Doubles{1, 2, 3, 4, 5, 6, 10, 20, 30, 40, 50, 60}.data());
    }
    CommitAndReopen();
    {
        const ORQObjStepBuilder builder(Document());
        const ORQObjStep step = Step("Loading");
        const Doubles third = {1.0};
        const ORQSimCSetID added = builder.AddTimes(step.Position(), third);
        const ORQObjMeshedField stress = step.GetFieldResults().at(0);
        stress.Write(added, NodeSet({0, 3}), Doubles{7, 8, 9, -7, -8, -9}.data());
        stress.Write(added, NodeSet({4, 2}), Doubles{.1, .2, .3, .4, .5, .6}.data());
    }
    CommitAndReopen();

    const ORQObjStep step = Step("Loading");
    EXPECT_EQ(step.ReadTimes(), (Doubles{0.25, 0.5, 1.0}));
    const ORQObjMeshedField stress = step.GetFieldResults().at(0);
    EXPECT_EQ(stress.GetName(), "S");
    EXPECT_EQ(stress.GetIdentifier(), "S");
    EXPECT_EQ(stress.GetGridType(), ORQSimSchema::Field_Nodal);
    EXPECT_EQ(stress.GetComponentLabel(1), "stress_yy");
    Ints components(3);
    stress.GetComponents().OrderedMembers(components.data());
    EXPECT_EQ(components, (Ints{1, 14, 5}));
    EXPECT_EQ(ORQSimDistribution(stress.GetDistribution()).NumDrawers(), 2);

    Doubles values(15, -1);
    EXPECT_EQ(stress.Read(1, NodeSet({3, 0, 1, 2, 4}), values.data()), 6);
    EXPECT_EQ(values, (Doubles{40, 50, 60, 10, 20, 30, -1, -1, -1, -1, -1, -1, -1, -1, -1}));
    values.assign(values.size(), -1);
    EXPECT_EQ(stress.Read(2, NodeSet({0, 1, 2, 3, 4}), values.data()), 12);
    EXPECT_EQ(values, (Doubles{7, 8, 9, -1, -1, -1, .4, .5, .6, -7, -8, -9, .1, .2, .3}));
}

TEST_P(StepTest, FieldsOfTheWholeModelHaveNoMembers) {
    const ORQObjStepBuilder builder(Document());
    const ORQSimPosition step = builder.AddStep("Impact", ORQSimSchema::Step_General);
    const ORQObjMeshedField energy = builder.AddHistoryField(step, {"energy",
                                                                    builder.UserFieldType("energy"),
                                                                    ORQSimSchema::Field_WholeModel,
                                                                    {},
                                                                    {{38, "energy"}}});
    const ORQSimPosition request = builder.AddUserOutputRequest("all", {});
    builder.AddOutputRequest(request, {&energy, 1});
    EXPECT_FALSE(energy.HasMembers());
    EXPECT_EQ(energy.GetIdentifier(), "");
    // More times than one piece holds.
    for (int begin = 0; begin < 1000; begin += 250) {
        Doubles values(250);
        for (int i = 0; i < 250; ++i) {
            values[static_cast<std::size_t>(i)] = begin + i;
        }
        energy.Write(builder.AddTimes(step, values), {}, values.data());
    }
    CommitAndReopen();

    const ORQObjMeshedField stored = Step("Impact").GetHistoryFields().at(0);
    EXPECT_EQ(ORQSimDistribution(stored.GetDistribution()).NumDrawers(), 1);
    for (const int time : {0, 511, 512, 999}) {
        double value = -1;
        EXPECT_EQ(stored.Read(time, {}, &value), 1);
        EXPECT_EQ(value, time);
    }
    EXPECT_EQ(Step("Impact").ReadTimes().back(), 999.0);
    EXPECT_EQ(stored.Position().ReferrersSet(ORQSimSchema::OutputRequest_field).Size(), 1);
}

TEST_P(StepTest, NamesOfStepsAreUnique) {
    const ORQObjStepBuilder builder(Document());
    builder.AddStep("Step-1", ORQSimSchema::Step_General);
    EXPECT_TRUE(Fails(Failure::Usage, {"Step-1"},
                      [&] { builder.AddStep("Step-1", ORQSimSchema::Step_General); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"step \"\""},
                      [&] { builder.AddStep("", ORQSimSchema::Step_General); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"field \"U\" of step \"Step-1\""}, [&] {
        builder.AddFieldResult(Step("Step-1").Position(),
                               {"U", builder.UserFieldType("U"), 1, Nodes(), {}});
    }));
}

TEST_P(StepTest, FieldsThatCannotBeAreRefusedByNameAndMakeNothing) {
    using namespace ORQSimSchema;
    const ORQObjStepBuilder builder(Document());
    const ORQSimPosition step = builder.AddStep("Load", Step_General);
    const ORQSimPosition type = builder.StandardFieldType("S");
    const auto add = [&](const ORQSimPosition& fieldType, int gridType) {
        builder.AddFieldResult(step, {"S", fieldType, gridType, Nodes(), {{1, "s11"}}});
    };
    EXPECT_TRUE(Fails(Failure::Usage,
                      {"field \"S\" of step \"Load\"", "Step_General is no field type"},
                      [&] { add(step, Field_Nodal); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"no field type"}, [&] { add({}, Field_Nodal); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"Region is no grid type"}, [&] { add(type, Region); }));
    EXPECT_EQ(step.GetSet(Task_fieldResults).Size(), 0);
}
