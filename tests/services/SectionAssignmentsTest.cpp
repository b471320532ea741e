// Which section governs an element, and properties of elements and layers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "Assertions.h"
#include "ORQBasFailure.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimTransfer.h"
#include "ORQSrvElementLayerProperty.h"
#include "ORQSrvSectionServices.h"
#include "SectionModel.h"

namespace {

using testing::ElementsAre;
using Assignments = SectionModel;

TEST_F(Assignments, TheFirstAssignmentGoverns) {
    const int section = NewSection("S", 1);
    const ORQSimPosition first = Assign("first", {0, 1, 2, 3}, section);
    const ORQSimPosition second = Assign("second", {3, 4, 5}, section);
    const auto assignment = [&](const std::vector<int>& elements) {
        return ORQSrvSectionServices::GetSectionAssignment(Elements(elements));
    };
    EXPECT_EQ(assignment({3, 1}), first);
    EXPECT_EQ(assignment({3, 4}), second);
    EXPECT_TRUE(assignment({2, 4}).IsNull());
    EXPECT_TRUE(assignment({}).IsNull());
    EXPECT_TRUE(ORQSrvSectionServices::GetSectionAssignment({}).IsNull());

    std::map<ORQSimPosition, std::vector<int>> parts;
    for (const auto& [part, governing] :
         ORQSrvSectionServices::GetSectionAssignments(Elements({2, 3, 4, 9, 5}))) {
        parts[governing] = Members(part.CSet());
    }
    EXPECT_EQ(parts, (std::map<ORQSimPosition, std::vector<int>>{
                         {{}, {9}}, {first, {2, 3}}, {second, {4, 5}}}));
    EXPECT_EQ(ORQSrvSectionServices::GetSectionAssignments(Elements({0, 1})).Size(), 1);
    EXPECT_EQ(ORQSrvSectionServices::GetSectionAssignments(Elements({})).Size(), 0);
}

TEST_F(Assignments, ADanglingAssignmentIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const ORQSimPosition dangling =
        sections.AddSectionAssignment({}, SectionAt(NewSection("S", 1)));
    const auto one = [&] { ORQSrvSectionServices::GetSectionAssignment(Elements({0})); };
    const auto all = [&] { ORQSrvSectionServices::GetSectionAssignments(Elements({0})); };
    EXPECT_FATAL(one(), {"!region.IsNull()", "ORQSrvSectionServices", 36});
    EXPECT_FATAL(all(), {"!region.IsNull()", "ORQSrvSectionServices", 77});
    dangling.SetPosition(ORQSimSchema::SectionAssignment_region,
                         builder.AddNodeSet("n", 1, builder.AddNodes(1)));
    EXPECT_FATAL(one(), {"!elsetPos.IsNull()", "ORQSrvSectionServices", 40});
    EXPECT_FATAL(all(), {"!elsetPos.IsNull()", "ORQSrvSectionServices", 82});
}

// --- Properties of elements and layers -----------------------------------------------------------

class Properties : public SectionModel {
  protected:
    Properties() { ORQSimCollection(layerCollection).ExtendSpace(6); }

    ORQSimCSetID Layers(const std::vector<int>& members) const {
        return Set(layerCollection, members);
    }
    ORQSrvElementLayerProperty Open() const {
        return ORQSrvElementLayerProperty(model, layerCollection, 55, 250, 55, 251);
    }
    std::vector<int> Values(const ORQSrvElementLayerProperty& property,
                            const std::vector<int>& elements,
                            const std::vector<int>& layerMembers) const {
        std::vector<int> values(elements.size() * layerMembers.size(), -9);
        EXPECT_EQ(property.Lookup(ORQSimCSet(Elements(elements)), ORQSimCSet(Layers(layerMembers)),
                                  values.data()),
                  std::ssize(values));
        return values;
    }

    ORQSimPosition model = builder.Model();
    ORQSimCollectionID layerCollection =
        model.GetPosition(ORQSimSchema::Model_sectionLayers).GetCollection();
    ORQSimPosition steel = sections.AddMaterial("steel", 1);
    ORQSimPosition glass = sections.AddMaterial("glass", 2);
    int s = Member(steel);
    int g = Member(glass);
};

TEST_F(Properties, AreFoundAgain) {
    ORQSrvElementLayerProperty property = Open();
    int none[1] = {-9};
    EXPECT_EQ(property.Lookup(ORQSimCSet(Elements({1})), ORQSimCSet(Layers({})), none), 0);
    EXPECT_EQ(none[0], -9);
    EXPECT_THAT(Values(property, {1, 2}, {0}), ElementsAre(-1, -1));  // nothing is stored yet
    property.Add(Elements({0, 1}), Layers({0, 2}), steel.ID());
    property.Add(Elements({1, 2, 7}), Layers({0, 2}), glass.ID());
    property.Add(Elements({7}), Layers({5}), glass.ID());
    testing::internal::CaptureStderr();
    property.Add(Elements({3, 2}), Layers({1}), steel.ID());
    property.Add(Elements({2}), Layers({1, 0}), steel.ID());
    const std::string reported = testing::internal::GetCapturedStderr();
    EXPECT_THAT(reported, testing::HasSubstr("ORQSimCSet(elsetID).IsAscending()"));
    EXPECT_THAT(reported, testing::HasSubstr("ORQSimCSet(layersID).IsAscending()"));
    property.Save(transaction);

    const ORQSimPosition link = model.GetPosition(ads_CoreFragmentTypeIndex(55, 250));
    EXPECT_TRUE(link.IsA(ads_CoreFragmentTypeIndex(55, 251)));
    EXPECT_EQ(ORQSimDistribution(link.DSet().GetRelationalDistributionID()).NumDrawers(), 2);

    ORQSrvElementLayerProperty again = Open();
    again.Add(Elements({9}), Layers({0, 2}), steel.ID());
    again.Add(Elements({9}), Layers({3}), glass.ID());
    again.Save(transaction);
    EXPECT_EQ(ORQSimDSet(link).GetCtation().Size(), 3);
    EXPECT_THAT(Values(again, {7, 0, 9}, {2, 3, 5}), ElementsAre(g, -1, g, s, -1, -1, s, g, -1));
    EXPECT_EQ(Members(again.GetElementLayers(Elements({7, 4}))), (std::vector<int>{0, 2, 5}));
    EXPECT_TRUE(again.GetElementLayers(Elements({15})).IsEmpty());
    EXPECT_EQ(again.GetElementCollection(),
              ORQObjMesh(builder.Mesh()).GetElementCollection().GetCollection());
    EXPECT_EQ(again.GetSectionLayerCollection(), layerCollection);
}

// Blocks of elements and layers in any order, held against the pairs that they name.
TEST_F(Properties, TheLastAddOfAPairWins) {
    std::mt19937 random(5);
    std::vector<int> allElements(8);
    std::vector<int> allLayers(6);
    std::iota(allElements.begin(), allElements.end(), 0);
    std::iota(allLayers.begin(), allLayers.end(), 0);
    const auto some = [&](const std::vector<int>& all) {
        std::vector<int> picked;
        std::ranges::copy_if(all, std::back_inserter(picked),
                             [&](int) { return random() % 2 == 0; });
        return picked;
    };
    std::vector<ORQSimPosition> materials;
    for (int i = 0; i < 10; ++i) {
        materials.push_back(sections.AddMaterial("M" + std::to_string(i), 3 + i));
    }
    std::vector<int> expected(48, -1);
    std::array properties = {Open(), Open(), Open()};
    for (int round = 0; round < 60; ++round) {
        ORQSrvElementLayerProperty& property = properties[round < 20 ? 0 : random() % 3];
        const std::vector<int> elements = some(allElements);
        const std::vector<int> layerMembers = some(allLayers);
        const ORQSimPosition& material = materials[random() % materials.size()];
        property.Add(Elements(elements), Layers(layerMembers), material.ID());
        for (const int element : elements) {
            for (const int layer : layerMembers) {
                expected[static_cast<std::size_t>(element * 6 + layer)] = Member(material);
            }
        }
        property.Save(transaction);
        ASSERT_EQ(Values(Open(), allElements, allLayers), expected) << round;
    }
}

TEST_F(Properties, WithoutPairsNothingIsRecordedAndSavingDetachesNothing) {
    ORQSrvElementLayerProperty empty = Open();
    empty.Add(Elements({1}), Layers({}), steel.ID());
    empty.Add(Elements({}), Layers({1}), steel.ID());
    empty.Add(Elements({1}), {}, steel.ID());
    empty.Save(transaction);
    EXPECT_TRUE(model.GetPosition(ads_CoreFragmentTypeIndex(55, 250)).IsNull());

    // Three of one time: what the first two save stays.
    ORQSrvElementLayerProperty first = Open();
    ORQSrvElementLayerProperty second = Open();
    first.Add(Elements({1, 2}), Layers({0, 1}), steel.ID());
    second.Add(Elements({2, 3}), Layers({0, 1}), glass.ID());
    first.Save(transaction);
    empty.Save(transaction);
    EXPECT_THAT(Values(Open(), {1, 2, 3}, {1}), ElementsAre(s, s, -1));
    second.Save(transaction);
    EXPECT_THAT(Values(Open(), {1, 2, 3}, {1}), ElementsAre(s, g, g));
    EXPECT_THAT(Values(second, {1, 2, 3}, {1}), ElementsAre(s, g, g));
    second.Add(Elements({1}), Layers({0}), glass.ID());
    first.Add(Elements({4}), Layers({1}), glass.ID());
    first.Save(transaction);
    second.Save(transaction);
    EXPECT_THAT(Values(Open(), {1, 4}, {0, 1}), ElementsAre(g, s, -1, g));
}

TEST_F(Properties, AllLinksLeadToOneCollectionOfLayers) {
    const ORQSimPosition libraries =
        builder.Document().Focus().GetPosition(ORQSimSchema::Focus_libraries);
    EXPECT_EQ(libraries.GetPosition(ORQSimSchema::Libraries_sectionLayers).GetCollection(),
              layerCollection);
    // A database that was made with two of them.
    libraries.SetPosition(ORQSimSchema::Libraries_sectionLayers,
                          model.CreateTypedCollection(ORQSimSchema::SectionLayerCollection, 11));
    EXPECT_NE(Open().GetSectionLayerCollection(), layerCollection);
    const ORQObjSectionBuilder opened(builder.Document());
    EXPECT_EQ(Open().GetSectionLayerCollection(), layerCollection);
    EXPECT_EQ(ORQSimCollection(layerCollection).Space(), 11);
    ORQSrvElementLayerProperty property = Open();
    property.Add(Elements({0}), Set(property.GetSectionLayerCollection(), {10}), steel.ID());
    EXPECT_THAT(Values(property, {0}, {10}), ElementsAre(s));
}

}  // namespace
