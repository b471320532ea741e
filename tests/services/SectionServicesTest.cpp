// Layered sections: written, read back, and found for elements.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "ORQBasAssertException.h"
#include "ORQBasFailure.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjSectionBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDSet.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvBulkShellLayers.h"
#include "ORQSrvElementLayerProperty.h"
#include "ORQSrvSectionServices.h"
#include "ORQSrvShellSection.h"
#include "ORQSrvShellSectionPoints.h"
#include "SoundAtEnd.h"

namespace {

using testing::ElementsAre;
using Section = ORQSrvShellSection;

constexpr double kNone = -std::numeric_limits<double>::max();

class Sections : public testing::Test {
  protected:
    Sections() { builder.AddElements(20); }
    ~Sections() override { layers.Clean(); }

    int NewMaterial(const char* name) const { return Member(sections.AddMaterial(name, 1)); }
    int NewSection(const char* name, int count) const {
        return Member(sections.AddShellSection(name, 1, count));
    }
    int Member(const ORQSimPosition& object) const {
        return builder.Document().GetCMemberIndex(object);
    }
    ORQSimPosition Record(int slot, int member) const {
        return ORQSimCollection(builder.Model().GetPosition(slot).GetCollection())
            .GetMember(member);
    }
    ORQSimPosition SectionAt(int member) const {
        return Record(ORQSimSchema::Model_sections, member);
    }
    ORQSimCSetID Elements(const std::vector<int>& members) const {
        return Set(ORQObjMesh(builder.Mesh()).GetElementCollection().GetCollection(), members);
    }
    static ORQSimCSetID Set(const ORQSimCollectionID& collection, const std::vector<int>& members) {
        return ORQSimCollection(collection)
            .CreateTempOrderedCSet(members.data(), static_cast<int>(members.size()));
    }
    static std::vector<int> Members(const ORQSimCSet& set) {
        std::vector<int> members(static_cast<std::size_t>(set.Size()));
        set.OrderedMembers(members.data());
        return members;
    }
    ORQSimPosition Region(const char* name, const std::vector<int>& elements) const {
        return builder.AddElementSet(name, 1, Elements(elements));
    }
    ORQSimPosition Assign(const char* name, const std::vector<int>& elements, int section) const {
        return sections.AddSectionAssignment(Region(name, elements), SectionAt(section));
    }
    /// A field whose values stand in an F-table of one column.
    ORQSimPosition Table(const std::vector<double>& values) const {
        const ORQSimPosition field =
            builder.Model().CreateDataRecord(ORQSimSchema::Field_FTable).Pos();
        field.SetPosition(ORQSimSchema::Field_fTable,
                          field.CreateSimpleFTable(static_cast<int>(values.size()), {}, {},
                                                   values.data(), static_cast<int>(values.size())));
        return field;
    }
    /// A field whose values stand in a distribution over elements and one component.
    ORQSimPosition Distributed(const std::vector<int>& elements,
                               const std::vector<double>& values) const {
        const ORQSimCollectionID components =
            builder.Document().GetComponentCollection().GetCollection();
        const ORQSimPosition field =
            builder.Model().CreateDataRecord(ORQSimSchema::MeshedField).Pos();
        const ORQSimPosition distribution = field.CreateTypedDistribution(
            ORQSimGrid(std::vector{ORQSimCSet(Elements(elements)).CollectionID(), components}),
            ORQSimSchema::DistributionRecord, ORQSimRangeType(ORQSimScalarDouble));
        ORQSimTransfer(ORQSimDistribution(distribution.GetDistribution()))
            .SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, Elements(elements))
            .SetDim(1, Set(components, {1}))
            .SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof(double)))
            .ExecWrite();
        field.SetPosition(ORQSimSchema::Field_distribution, distribution);
        return field;
    }
    void Write() {
        layers.WriteBulkDistributions(builder.Model());
        layers.Clean();
    }
    ORQSimDistribution Attribute(int slot) const {
        return ORQSimDistribution(builder.Model()
                                      .GetPosition(ORQSimSchema::Model_sectionData)
                                      .GetPosition(slot)
                                      .GetDistribution());
    }
    std::string ErrorOfWriting() {
        try {
            layers.WriteBulkDistributions(builder.Model());
        } catch (const ORQBasAssertException& error) {
            return error.AsString(ORQBasStringMode::Unicode).c_str();
        }
        return "no error";
    }

    ORQSimDatabase database = ORQSimDatabase::CreateInMemory();
    ORQSimTransaction transaction{database.ContextID()};
    ORQObjModelBuilder builder{database};
    ORQObjSectionBuilder sections{builder.Document()};
    ORQSrvBulkShellLayers& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
    SoundAtEnd sound{database};
};

// --- Layers --------------------------------------------------------------------------------------

TEST_F(Sections, LayersComeBackAsTheyWereAppended) {
    struct Layer {
        int material, orientation, ply, points;
        double thickness, angle;
        bool operator==(const Layer&) const = default;
    };
    std::mt19937 random(7);
    const int nMaterials = 5;
    for (int i = 0; i < nMaterials; ++i) {
        sections.AddMaterial("M" + std::to_string(i), i);
        sections.AddOrientation("O" + std::to_string(i), i, {1, 0, 0}, {0, 1, 0});
        sections.AddPly("P" + std::to_string(i), i);
    }
    std::vector<std::vector<Layer>> expected;
    for (int section = 0; section < 40; ++section) {
        const int count = static_cast<int>(random() % 9);
        ASSERT_EQ(NewSection(("S" + std::to_string(section)).c_str(), count), section);
        auto& list = expected.emplace_back();
        for (int layer = 0; layer < count; ++layer) {
            const auto pick = [&] { return static_cast<int>(random() % 6) - 1; };
            list.push_back({pick(), pick(), pick(), static_cast<int>(random() % 9),
                            static_cast<double>(random() % 1000) / 8, pick() * 15.0});
        }
    }
    // Half now and half later, the second half in descending order of the sections.
    const auto append = [&](int section) {
        int number = 0;
        for (const Layer& layer : expected[static_cast<std::size_t>(section)]) {
            layers.AppendMaterial(number, section, layer.material);
            layers.AppendOrientation(number, section, layer.orientation);
            layers.AppendPly(number, section, layer.ply);
            layers.AppendNumSectionPoints(number, section, layer.points);
            layers.AppendConstThickness(number, section, layer.thickness);
            layers.AppendConstAngle(number++, section, layer.angle);
        }
    };
    for (int section = 0; section < 40; section += 2) {
        append(section);
    }
    Write();
    for (int section = 39; section > 0; section -= 2) {
        append(section);
    }
    Write();
    EXPECT_EQ(Attribute(ORQSimSchema::SectionData_materials).NumDrawers(), 8);

    const ORQSrvShellSectionPoints points(builder.Document());
    for (int section = 0; section < 40; ++section) {
        const Section read(SectionAt(section));
        const auto& list = expected[static_cast<std::size_t>(section)];
        ASSERT_EQ(read.GetNumLayers(), std::ssize(list));
        ASSERT_EQ(read.GetConstThicknesses().size(), list.size());
        for (std::size_t layer = 0; layer < list.size(); ++layer) {
            const Layer found{
                Member(read.GetMaterials()[layer]), Member(read.GetOrientations()[layer]),
                Member(read.GetPlies()[layer]),     read.GetSectionPoints()[layer],
                read.GetConstThicknesses()[layer],  read.GetConstRotationAngles()[layer]};
            EXPECT_EQ(found, list[layer]) << section << ", " << layer;
            EXPECT_EQ(read.GetThicknessVariations()[layer], Section::VariationConstant);
            EXPECT_EQ(points.GetNumSectionPoints(SectionAt(section), static_cast<int>(layer)),
                      list[layer].points);
        }
        EXPECT_EQ(points.GetNumSectionPoints(SectionAt(section), 8), 0);
        EXPECT_EQ(&read.GetMaterials(), &read.GetMaterials());
    }
}

TEST_F(Sections, TheFirstValueOfAPairIsKeptAndNothingIsMissed) {
    const int section = NewSection("S", 3);
    const int steel = NewMaterial("steel");
    const int glass = NewMaterial("glass");
    layers.AppendMaterial(1, section, glass);
    layers.AppendMaterial(1, section, steel);
    layers.AppendConstThickness(2, section, 4.5);
    Write();
    const Section read(SectionAt(section));
    EXPECT_TRUE(read.GetMaterials()[0].IsNull());
    EXPECT_EQ(Member(read.GetMaterials()[1]), glass);
    EXPECT_EQ(read.GetPlies().Size(), 3);
    EXPECT_THAT(read.GetSectionPoints(), ElementsAre(0, 0, 0));
    EXPECT_THAT(read.GetConstThicknesses(), ElementsAre(kNone, kNone, 4.5));
    EXPECT_TRUE(Attribute(ORQSimSchema::SectionData_plies).IsNull());
}

TEST_F(Sections, DistributedValuesCoverASectionOrLeaveItUndefined) {
    const int skin = NewSection("skin", 3);
    const int web = NewSection("web", 4);
    Assign("skin", {0, 1, 2, 3}, skin);
    Assign("more skin", {8}, skin);
    Assign("web", {5, 6}, web);
    const ORQSimPosition whole = Region("whole", {8, 0, 1, 2, 3});
    layers.AppendDistThickness(0, whole, Table({9, 1, 2, 3, 4}));
    layers.AppendDistThickness(1, Region("part", {0, 1}), Distributed({1, 0, 7}, {1, 0, 7}));
    layers.AppendDistThickness(2, whole, Table({7}));
    layers.AppendDistThickness(2, Region("web again", {5, 6, 0}), Table({5}));
    layers.AppendConstThickness(2, web, 0.5);
    layers.AppendDistAngle(3, Region("web's", {6, 5}), Distributed({4, 5, 6}, {40, 50, 60}));
    Write();

    const Section skinRead(SectionAt(skin));
    EXPECT_THAT(skinRead.GetThicknessVariations(),
                ElementsAre(Section::VariationDistributed, Section::VariationUndefined,
                            Section::VariationDistributed));
    EXPECT_THAT(skinRead.GetConstThicknesses(), ElementsAre(kNone, kNone, kNone));
    const Section webRead(SectionAt(web));
    EXPECT_THAT(webRead.GetThicknessVariations(),
                ElementsAre(Section::VariationUndefined, Section::VariationUndefined,
                            Section::VariationConstant, Section::VariationUndefined));
    EXPECT_THAT(webRead.GetRotationAngleVariations(),
                ElementsAre(Section::VariationUndefined, Section::VariationUndefined,
                            Section::VariationUndefined, Section::VariationDistributed));

    const ORQSimPosition field = builder.Model()
                                     .GetPosition(ORQSimSchema::Model_sectionData)
                                     .GetPosition(ORQSimSchema::SectionData_distributedThicknesses);
    EXPECT_EQ(field.GetPosition(ORQSimSchema::MeshedField_type).Name().UTF8(), "STH");
    const ORQSimDistribution values(
        field.GetPosition(ORQSimSchema::Field_distribution).GetDistribution());
    std::vector<double> read(3 * 7, -1);
    ORQSimTransfer(values)
        .SetRead()
        .SetDim(0, Set(values.Grid().Collection(0), {0, 1, 2}))
        .SetDim(1, Elements({0, 1, 2, 3, 5, 6, 8}))
        .SetBuffer(ORQSimbufMain, read.data(),
                   static_cast<std::int64_t>(read.size() * sizeof(double)))
        .ExecRead();
    EXPECT_THAT(read, ElementsAre(1, 2, 3, 4, -1, -1, 9,     //
                                  0, 1, -1, -1, -1, -1, -1,  //
                                  7, 7, 7, 7, 5, 5, 7));     // the first of two regions
}

TEST_F(Sections, AFieldWithoutValuesHidesTheConstants) {
    const int section = NewSection("S", 2);
    layers.AppendConstThickness(0, section, 1);
    layers.AppendConstAngle(0, section, 45);
    Write();
    const ORQSimPosition data = builder.Model().GetPosition(ORQSimSchema::Model_sectionData);
    data.SetPosition(ORQSimSchema::SectionData_distributedThicknesses,
                     builder.Model().CreateDataRecord(ORQSimSchema::MeshedField).Pos());
    const Section read(SectionAt(section));
    EXPECT_THAT(read.GetConstThicknesses(), ElementsAre(kNone, kNone));
    EXPECT_THAT(read.GetThicknessVariations(),
                ElementsAre(Section::VariationUndefined, Section::VariationUndefined));
    EXPECT_EQ(read.GetRotationAngleVariations()[0], Section::VariationConstant);
}

TEST_F(Sections, WritingNothingMakesSectionDataOnlyForLayeredSections) {
    layers.WriteBulkDistributions(builder.Model());
    EXPECT_TRUE(builder.Model().GetPosition(ORQSimSchema::Model_sectionData).IsNull());
    const int empty = NewSection("S", 0);
    layers.WriteBulkDistributions(builder.Model());
    EXPECT_FALSE(builder.Model().GetPosition(ORQSimSchema::Model_sectionData).IsNull());
    const Section read(SectionAt(empty));
    EXPECT_TRUE(read.GetMaterials().empty());
    EXPECT_TRUE(read.GetSectionPoints().empty());
    EXPECT_TRUE(read.GetConstThicknesses().empty());
    EXPECT_EQ(ORQSrvShellSectionPoints(builder.Document()).GetNumSectionPoints(SectionAt(0), 0), 0);
}

TEST_F(Sections, ChecksNameTheirExpressionAndLeaveTheLayersAsTheyWere) {
    const int section = NewSection("S", 2);
    Assign("all", {0, 1}, section);
    layers.AppendConstThickness(0, section, 1);
    layers.AppendDistThickness(1, Region("r", {0, 1}), Table({2}));
    Write();

    struct Case {
        std::string error;
        std::function<void()> append;
    };
    const ORQSimPosition region = Region("s", {0, 1});
    const Case cases[] = {
        {"distField.IsNull() && \"Distributed thickness field already exists and editing it is "
         "NYI\"",
         [&] { layers.AppendDistThickness(0, region, Table({2})); }},
        {"dids.Size() == 1",
         [&] { layers.AppendDistAngle(0, region, builder.Model().CreateDataRecord(1).Pos()); }},
        {"numDim == 2",
         [&] {
             const ORQSimPosition field = builder.Model().CreateDataRecord(1).Pos();
             field.SetPosition(
                 ORQSimSchema::Field_distribution,
                 field.CreateTypedDistribution(
                     ORQSimGrid(std::vector{ORQSimCSet(Elements({0})).CollectionID()}),
                     ORQSimSchema::DistributionRecord, ORQSimRangeType(ORQSimScalarDouble)));
             layers.AppendDistAngle(0, region, field);
         }},
        {"ncols == 1",
         [&] {
             const ORQSimPosition field = Table({1});
             const double two[] = {1, 2};
             field.SetPosition(ORQSimSchema::Field_fTable,
                               field.CreateSimpleFTable(1, {}, {}, two, 2));
             layers.AppendDistAngle(0, region, field);
         }},
        {"serFields.Size() == 1",
         [&] {
             builder.Model().GetMap(ORQSimSchema::Model_userFields).Remove("ANGLE");
             layers.AppendConstAngle(0, section, 1);
         }},
    };
    for (const Case& c : cases) {
        layers.AppendConstThickness(0, section, 77);
        c.append();
        EXPECT_EQ(ErrorOfWriting(), c.error);
        layers.Clean();
        EXPECT_EQ(Section(SectionAt(section)).GetConstThicknesses()[0], 1) << c.error;
    }
    // A number outside its collection is an error of the platform.
    layers.AppendMaterial(2, section + 1, 0);
    EXPECT_THROW(layers.WriteBulkDistributions(builder.Model()), ORQBasFailure);
    layers.Clean();
    EXPECT_EQ(ErrorOfWriting(), "no error");
}

TEST_F(Sections, ADrawerOfSeveralLayersIsRefused) {
    const int section = NewSection("S", 2);
    layers.AppendNumSectionPoints(0, section, 3);
    Write();
    const ORQSimDistribution counts = Attribute(ORQSimSchema::SectionData_sectionPoints);
    const std::vector<int> two = {1, 2};
    ORQSimTransfer(counts)
        .SetWrite()
        .SetMakeNewDrawer()
        .SetDim(0, Set(counts.Grid().Collection(0), {0, 1}))
        .SetDim(1, Set(counts.Grid().Collection(1), {section}))
        .SetBuffer(ORQSimbufMain, two.data(), 8)
        .ExecWrite();
    EXPECT_THROW(ORQSrvShellSectionPoints(builder.Document()).GetNumSectionPoints(SectionAt(0), 0),
                 ORQBasAssertException);
    layers.AppendNumSectionPoints(0, section, 4);
    EXPECT_EQ(ErrorOfWriting(), "layerSet.Size() == 1");
}

// --- Assignments ---------------------------------------------------------------------------------

TEST_F(Sections, TheFirstAssignmentGoverns) {
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

TEST_F(Sections, ADanglingAssignmentIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const ORQSimPosition dangling =
        sections.AddSectionAssignment({}, SectionAt(NewSection("S", 1)));
    EXPECT_DEATH(ORQSrvSectionServices::GetSectionAssignment(Elements({0})),
                 "AssertionFailed:!region.IsNull\\(\\).*36");
    EXPECT_DEATH(ORQSrvSectionServices::GetSectionAssignments(Elements({0})), "77");
    dangling.SetPosition(ORQSimSchema::SectionAssignment_region,
                         builder.AddNodeSet("n", 1, builder.AddNodes(1)));
    EXPECT_DEATH(ORQSrvSectionServices::GetSectionAssignment(Elements({0})),
                 "AssertionFailed:!elsetPos.IsNull\\(\\).*40");
    EXPECT_DEATH(ORQSrvSectionServices::GetSectionAssignments(Elements({0})), "82");
}

// --- Properties of elements and layers -----------------------------------------------------------

class Properties : public Sections {
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
