// Labels and instances of a whole assembly.
#include <algorithm>

#include "Assertions.h"
#include "LabelModel.h"
#include "ORQSrvFunctions.h"
#include "ORQSrvGlobalLabelMap.h"

namespace {

// Ordinals by label, over all instances in their order.
std::map<int, Ints> OrdinalsByLabel(const Labelling& labelling,
                                    const ORQSimArray<ORQString>& instances) {
    std::map<int, Ints> ordinals;
    for (const ORQString& instance : instances) {
        const auto found = labelling.ordinalOf.find(instance.UTF8());
        if (found != labelling.ordinalOf.end()) {
            for (const auto& [label, ordinal] : found->second) {
                ordinals[label].push_back(ordinal);
            }
        }
    }
    return ordinals;
}

template <class OrdinalOf, class OrdinalsOf, class LabelOf, class NameOf>
void ExpectLeadsBothWays(const Labelling& labelling, const ORQSimArray<ORQString>& instances,
                         OrdinalOf ordinalOf, OrdinalsOf ordinalsOf, LabelOf labelOf,
                         NameOf nameOf) {
    int nLabelled = 0;
    for (const auto& [instance, expected] : labelling.ordinalOf) {
        for (const auto& [label, ordinal] : expected) {
            ASSERT_EQ(ordinalOf(instance, label), ordinal);
            ASSERT_EQ(labelOf(ordinal), label);
            ASSERT_EQ(nameOf(ordinal), instance.c_str());
            ++nLabelled;
        }
    }
    const std::map<int, Ints> byLabel = OrdinalsByLabel(labelling, instances);
    for (int label = -1; label < 600; ++label) {
        const ORQSimArray<int> found = ordinalsOf(label);
        const auto expected = byLabel.find(label);
        ASSERT_EQ(Ints(found.begin(), found.end()),
                  expected == byLabel.end() ? Ints() : expected->second);
    }
    for (int ordinal = -2; ordinal < labelling.nMembers + 2; ++ordinal) {
        nLabelled -= labelOf(ordinal) >= 0 ? 1 : 0;
        ASSERT_EQ(labelOf(ordinal) < 0, nameOf(ordinal) == "");
    }
    EXPECT_EQ(nLabelled, 0);
    EXPECT_EQ(ordinalOf("PART-99", 1), -1);
    EXPECT_EQ(ordinalOf("PART-0", 100000), -1);
}

}  // namespace

TEST(GlobalLabelMap, LeadsFromLabelsToMembersAndBack) {
    std::mt19937 random(21);
    for (int round = 0; round < 10; ++round) {
        const Labelling nodes = RandomLabelling(random);
        const Labelling elements = RandomLabelling(random);
        const LabelModel model(nodes, elements);
        ORQSrvGlobalLabelMap map(model.builder.Mesh());
        ExpectLeadsBothWays(
            nodes, map.InstanceNames(), [&](auto&&... of) { return map.GetNodeOrdinal(of...); },
            [&](int label) { return map.GetNodeOrdinals(label); },
            [&](int ordinal) { return map.GetNodeLabel(ordinal); },
            [&](int ordinal) { return map.GetNodeInstanceName(ordinal); });
        ExpectLeadsBothWays(
            elements, map.InstanceNames(),
            [&](auto&&... of) { return map.GetElementOrdinal(of...); },
            [&](int label) { return map.GetElementOrdinals(label); },
            [&](int ordinal) { return map.GetElementLabel(ordinal); },
            [&](int ordinal) { return map.GetElementInstanceName(ordinal); });
    }
}

TEST(GlobalLabelMapDeathTest, NeedsADocument) {
    EXPECT_FATAL(ORQSrvGlobalLabelMap{ORQSimPosition()},
                 {"m_focus.IsNull() == false", "ORQSrvGlobalLabelMap", 75});
}

TEST(InstanceInfo, SaysWhatAnInstanceLabels) {
    const LabelModel model({4, {{"A", {{3, 1}, {7, 0}}}, {"B", {{3, 3}}}}},
                           {2, {{"B", {{9, 0}, {8, 1}}}}});
    const ORQSimPosition root = model.database.Focus();
    const ORQSrvInstanceInfo b = ORQSrvGetInstanceInfo(root, "B");
    EXPECT_EQ(b.name, "B");
    EXPECT_EQ(b.index, 1);
    EXPECT_EQ(b.position, model.builder.AddInstance("B"));
    EXPECT_EQ(OrderedMembers(b.nodes), (Ints{3}));
    EXPECT_EQ(OrderedMembers(b.elements), (Ints{1, 0}));
    const ORQSrvInstanceInfo a = ORQSrvGetInstanceInfo(root, 0);
    EXPECT_EQ(a.name, "A");
    EXPECT_EQ(OrderedMembers(a.nodes), (Ints{1, 0}));
    EXPECT_TRUE(a.elements.IsNull());
    for (const ORQSrvInstanceInfo& none :
         {ORQSrvGetInstanceInfo(root, "b"), ORQSrvGetInstanceInfo(root, 2),
          ORQSrvGetInstanceInfo(root, -1), ORQSrvGetInstanceInfo({}, "A")}) {
        EXPECT_TRUE(none.position.IsNull());
        EXPECT_EQ(none.index, -1);
        EXPECT_TRUE(none.nodes.IsNull());
    }
}

TEST(PointSet, IsThatOfTheElementSpec) {
    const LabelModel model({}, {});
    const ORQSimPosition quad = model.builder.AddElementSpec("QUAD4");
    const ORQSimPosition hex = model.builder.AddElementSpec("HEX8");
    model.builder.AddElementSpecPoints(quad, 4);
    model.builder.AddElementSpecPoints(hex, 8);
    const ORQSimCSet points = ORQSrvGetPointSetFromElementSpec(hex);
    EXPECT_EQ(Members(points), (Ints{4, 5, 6, 7, 8, 9, 10, 11}));
    EXPECT_EQ(points.CollectionID(), model.builder.Document().GetPointCollection().GetCollection());
    EXPECT_TRUE(ORQSrvGetPointSetFromElementSpec(model.builder.AddElementSpec("BAR2")).IsNull());
    EXPECT_TRUE(ORQSrvGetPointSetFromElementSpec({}).IsNull());
}
