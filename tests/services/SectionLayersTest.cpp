// Layers of shell sections: written and read back.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "Assertions.h"
#include "NewDatabase.h"
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
#include "ORQSrvShellLayerTable.h"
#include "ORQSrvShellSection.h"
#include "ORQSrvShellSectionPoints.h"
#include "SectionModel.h"

namespace {

using testing::ElementsAre;
using Section = ORQSrvShellSection;

constexpr double kNone = -std::numeric_limits<double>::max();

class Sections : public SectionModel {
  protected:
    ~Sections() override { layers.Clean(); }

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
        return ThrownBy([&] { layers.WriteBulkDistributions(builder.Model()); });
    }
    ORQSimCollectionID Collection(int slot) const {
        return builder.Model().GetPosition(slot).GetCollection();
    }
    /// A distribution over two collections under a slot of the section data.
    ORQSimDistribution NewAttribute(int slot, const ORQSimCollectionID& rows,
                                    const ORQSimCollectionID& columns, int scalar) const {
        const ORQSimPosition data = builder.Model().GetPosition(ORQSimSchema::Model_sectionData);
        const ORQSimPosition made =
            data.CreateTypedDistribution(ORQSimGrid(std::vector{rows, columns}),
                                         ORQSimSchema::DistributionRecord, ORQSimRangeType(scalar));
        data.SetPosition(slot, made);
        return ORQSimDistribution(made.GetDistribution());
    }
    /// A drawer over some rows and columns of a distribution.
    template <class T>
    static void AddDrawer(const ORQSimDistribution& to, const std::vector<int>& rows,
                          const std::vector<int>& columns, const std::vector<T>& values) {
        ORQSimTransfer(to)
            .SetWrite()
            .SetMakeNewDrawer()
            .SetDim(0, Set(to.Grid().Collection(0), rows))
            .SetDim(1, Set(to.Grid().Collection(1), columns))
            .SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof(T)))
            .ExecWrite();
    }
    /// The field's own distribution.
    static ORQSimDistribution ValuesOf(const ORQSimPosition& field) {
        return ORQSimDistribution(
            field.GetPosition(ORQSimSchema::Field_distribution).GetDistribution());
    }
    /// What was written for the elements of one layer of the distributed thickness; -7 for those
    /// without a value.
    std::vector<double> DistributedThicknesses(int layer, const std::vector<int>& elements) const {
        const ORQSimDistribution values =
            ValuesOf(builder.Model()
                         .GetPosition(ORQSimSchema::Model_sectionData)
                         .GetPosition(ORQSimSchema::SectionData_distributedThicknesses));
        std::vector<double> read(elements.size(), -7);
        ORQSimTransfer(values)
            .SetRead()
            .SetDim(0, Set(values.Grid().Collection(0), {layer}))
            .SetDim(1, Elements(elements))
            .SetBuffer(ORQSimbufMain, read.data(),
                       static_cast<std::int64_t>(read.size() * sizeof(double)))
            .ExecRead();
        return read;
    }

    ORQSrvBulkShellLayers& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
};

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

TEST_F(Sections, ChecksAreKnownByTextFileAndLineAndLeaveTheLayersAsTheyWere) {
    const int section = NewSection("S", 2);
    Assign("all", {0, 1}, section);
    layers.AppendConstThickness(0, section, 1);
    layers.AppendDistThickness(1, Region("r", {0, 1}), Table({2}));
    Write();

    const ORQSimPosition region = Region("s", {0, 1});
    const ORQSimPosition flat = builder.Model().CreateDataRecord(1).Pos();
    flat.SetPosition(ORQSimSchema::Field_distribution,
                     flat.CreateTypedDistribution(
                         ORQSimGrid(std::vector{ORQSimCSet(Elements({0})).CollectionID()}),
                         ORQSimSchema::DistributionRecord, ORQSimRangeType(ORQSimScalarDouble)));
    const ORQSimPosition twoColumns = Table({1});
    const double two[] = {1, 2};
    twoColumns.SetPosition(ORQSimSchema::Field_fTable,
                           twoColumns.CreateSimpleFTable(1, {}, {}, two, 2));
    struct Case {
        const char* text;
        int line;
        std::function<void()> append;
    };
    const Case cases[] = {
        {"distField.IsNull() && \"Distributed thickness field already exists and editing it is "
         "NYI\"",
         948, [&] { layers.AppendDistThickness(0, region, Table({2})); }},
        {"dids.Size() == 1", 1149,
         [&] { layers.AppendDistAngle(0, region, builder.Model().CreateDataRecord(1).Pos()); }},
        {"numDim == 2", 1155, [&] { layers.AppendDistAngle(0, region, flat); }},
        {"ncols == 1", 1186, [&] { layers.AppendDistAngle(0, region, twoColumns); }},
        {"layerposition != -1", 729,
         [&] {
             const auto overElements =
                 NewAttribute(ORQSimSchema::SectionData_constantThicknesses,
                              ORQSimCSet(Elements({0})).CollectionID(),
                              Collection(ORQSimSchema::Model_sections), ORQSimScalarDouble);
             AddDrawer<double>(overElements, {0}, {0}, {1});
         }},
        {"layerSet.Size() == 1", 731,
         [&] {
             const auto twoLayers =
                 NewAttribute(ORQSimSchema::SectionData_constantThicknesses,
                              Collection(ORQSimSchema::Model_sectionLayers),
                              Collection(ORQSimSchema::Model_sections), ORQSimScalarDouble);
             AddDrawer<double>(twoLayers, {0, 1}, {0}, {1, 1});
         }},
    };
    const ORQSimPosition data = builder.Model().GetPosition(ORQSimSchema::Model_sectionData);
    const ORQSimPosition thicknesses =
        data.GetPosition(ORQSimSchema::SectionData_constantThicknesses);
    for (const Case& c : cases) {
        layers.AppendConstThickness(0, section, 77);
        c.append();
        EXPECT_EQ(ErrorOfWriting(), Thrown({c.text, "ORQSrvBulkShellLayers", c.line}));
        layers.Clean();
        data.SetPosition(ORQSimSchema::SectionData_constantThicknesses, thicknesses);
        EXPECT_EQ(Section(SectionAt(section)).GetConstThicknesses()[0], 1) << c.text;
    }
}

TEST_F(Sections, ValuesAreTypedByTheirUserFields) {
    const int section = NewSection("S", 1);
    const auto error = [&](const char* userField, const std::function<void()>& append) {
        ORQSimMap userFields = builder.Model().GetMap(ORQSimSchema::Model_userFields);
        const ORQSimPosition field = userFields.Find(userField);
        userFields.Remove(userField);
        append();
        const std::string said = ErrorOfWriting();
        layers.Clean();
        userFields.Insert(userField, field);
        return said;
    };
    const auto missing = [](int line) {
        return Thrown({"serFields.Size() == 1", "ORQSrvBulkShellLayers", line});
    };
    EXPECT_EQ(error("STH", [&] { layers.AppendConstThickness(0, section, 1); }), missing(737));
    EXPECT_EQ(error("ANGLE", [&] { layers.AppendConstAngle(0, section, 1); }), missing(847));
    const auto appendField = [&] { layers.AppendDistAngle(0, Region("r", {0}), Table({1})); };
    EXPECT_EQ(error("ANGLE", appendField), missing(1050));

    layers.AppendConstThickness(0, section, 1);
    layers.AppendConstAngle(0, section, 1);
    layers.AppendMaterial(0, section, NewMaterial("steel"));
    layers.AppendNumSectionPoints(0, section, 5);
    Write();
    const ORQSimPosition data = builder.Model().GetPosition(ORQSimSchema::Model_sectionData);
    const auto typeName = [&](int slot) {
        return data.GetPosition(slot).GetPosition(ORQSimSchema::MeshedField_type).Name();
    };
    EXPECT_EQ(typeName(ORQSimSchema::SectionData_constantThicknesses), "STH");
    EXPECT_EQ(typeName(ORQSimSchema::SectionData_constantAngles), "ANGLE");
    // References know what they refer to, counts refer to nothing.
    EXPECT_EQ(Attribute(ORQSimSchema::SectionData_materials).RangeType().Collection(),
              builder.Document().GetMaterialCollection().GetCollection());
    EXPECT_TRUE(
        Attribute(ORQSimSchema::SectionData_sectionPoints).RangeType().Collection().IsNull());
}

TEST_F(Sections, WhatIsCollectedStaysUntilClean) {
    const int section = NewSection("S", 1);
    layers.AppendConstThickness(0, section, 1.5);
    layers.WriteBulkDistributions(builder.Model());
    const ORQSimPosition data = builder.Model().GetPosition(ORQSimSchema::Model_sectionData);
    data.SetPosition(ORQSimSchema::SectionData_constantThicknesses, {});
    layers.WriteBulkDistributions(builder.Model());
    EXPECT_THAT(Section(SectionAt(section)).GetConstThicknesses(), ElementsAre(1.5));
    layers.Clean();
    data.SetPosition(ORQSimSchema::SectionData_constantThicknesses, {});
    layers.WriteBulkDistributions(builder.Model());
    EXPECT_THAT(Section(SectionAt(section)).GetConstThicknesses(), ElementsAre(kNone));
}

// Each is refused with what is wrong in the text, and nothing is written.
TEST_F(Sections, WhatCannotBeWrittenIsNamed) {
    const int section = NewSection("S", 2);
    NewMaterial("steel");
    sections.AddPly("P", 1);
    const ORQSimPosition noElements = builder.AddNodeSet("PINS", 1, builder.AddNodes(2));
    const ORQSimPosition region = Region("SKIN", {0, 1, 2});
    const ORQSimPosition ofNodes =
        builder.Model().CreateDataRecord(ORQSimSchema::MeshedField).Pos();
    ofNodes.SetName(ORQSimSchema::Record_name, "T");
    ofNodes.SetPosition(
        ORQSimSchema::Field_distribution,
        ofNodes.CreateTypedDistribution(
            ORQSimGrid(std::vector{ORQObjMesh(builder.Mesh()).GetNodeCollection().GetCollection(),
                                   builder.Document().GetComponentCollection().GetCollection()}),
            ORQSimSchema::DistributionRecord, ORQSimRangeType(ORQSimScalarDouble)));
    const ORQSimPosition twoValues = Distributed({0, 1}, {1, 2});
    AddDrawer<double>(ValuesOf(twoValues), {1}, {2}, {3});
    struct Case {
        std::vector<std::string> parts;
        std::function<void()> append;
    };
    const Case cases[] = {
        {{"layer 1 of section 0", "material 99", "has 1 "},
         [&] { layers.AppendMaterial(1, section, 99); }},
        {{"layer 0 of section 0", "material -2"}, [&] { layers.AppendMaterial(0, section, -2); }},
        {{"orientation 0", "has 0 "}, [&] { layers.AppendOrientation(0, section, 0); }},
        {{"ply 1", "has 1 "}, [&] { layers.AppendPly(0, section, 1); }},
        {{"member 1 is outside"}, [&] { layers.AppendPly(0, section + 1, 0); }},
        {{"-1"}, [&] { layers.AppendConstThickness(-1, section, 0); }},
        {{"layer 2147483647"}, [&] { layers.AppendConstAngle(2147483647, section, 0); }},
        {{"region \"PINS\"", "no elements"},
         [&] { layers.AppendDistThickness(0, noElements, Table({1})); }},
        {{"a null region", "no elements"}, [&] { layers.AppendDistAngle(0, {}, Table({1})); }},
        {{"field \"T\"", "no values for elements"},
         [&] { layers.AppendDistThickness(0, region, ofNodes); }},
        {{"2 values for an element"}, [&] { layers.AppendDistThickness(0, region, twoValues); }},
        {{"2 rows", "region \"SKIN\" of 3 elements"},
         [&] {
             layers.AppendDistThickness(0, region, Table({1, 2}));
         }},
    };
    for (const Case& c : cases) {
        layers.AppendNumSectionPoints(0, section, 7);
        c.append();
        try {
            layers.WriteBulkDistributions(builder.Model());
            ADD_FAILURE() << "written: " << c.parts.front();
        } catch (const ORQBasFailure& failure) {
            EXPECT_EQ(failure.Kind(), ORQBasFailureKind::Usage);
            for (const std::string& part : c.parts) {
                EXPECT_THAT(failure.Text(), testing::HasSubstr(part));
            }
        }
        layers.Clean();
        EXPECT_TRUE(builder.Model().GetPosition(ORQSimSchema::Model_sectionData).IsNull());
    }
}

TEST_F(Sections, LayersThatNoSectionHasGetRoomAndAreNotRead) {
    const int section = NewSection("S", 2);
    Assign("all", {0, 1}, section);
    const ORQSimCollection all(Collection(ORQSimSchema::Model_sectionLayers));
    layers.AppendConstAngle(4, section, 45);
    Write();
    EXPECT_EQ(all.Space(), 5);
    layers.AppendDistThickness(2, Region("r", {0, 1}), Table({2}));
    layers.AppendDistThickness(7, Region("s", {0, 1}), Table({3}));
    Write();
    EXPECT_EQ(all.Space(), 8);
    const Section read(SectionAt(section));
    EXPECT_THAT(read.GetThicknessVariations(),
                ElementsAre(Section::VariationUndefined, Section::VariationUndefined));
    EXPECT_THAT(read.GetConstRotationAngles(), ElementsAre(kNone, kNone));
}

TEST_F(Sections, ValuesOfAnyTypeAreReadAndOfOverlappingDrawersTheLaterOnes) {
    const int section = NewSection("S", 2);
    const ORQSimPosition region = Region("r", {4, 0, 1, 2, 3});
    const auto field = [&](int scalar) {
        const ORQSimPosition made =
            builder.Model().CreateDataRecord(ORQSimSchema::MeshedField).Pos();
        made.SetPosition(
            ORQSimSchema::Field_distribution,
            made.CreateTypedDistribution(
                ORQSimGrid(std::vector{builder.Document().GetComponentCollection().GetCollection(),
                                       ORQSimCSet(Elements({0})).CollectionID()}),
                ORQSimSchema::DistributionRecord, ORQSimRangeType(scalar)));
        return made;
    };
    const ORQSimPosition floats = field(ORQSimScalarFloat);
    AddDrawer<float>(ValuesOf(floats), {0}, {0, 2, 1}, {0.5F, 2.5F, 1.5F});
    AddDrawer<float>(ValuesOf(floats), {0}, {4, 2}, {4.25F, 2.25F});
    const ORQSimPosition integers = field(ORQSimScalarInt);
    AddDrawer<int>(ValuesOf(integers), {0}, {0, 1, 2, 3, 4, 5}, {10, 11, 12, 13, 14, 15});
    layers.AppendDistThickness(0, region, floats);
    layers.AppendDistThickness(1, region, integers);
    layers.AppendConstAngle(0, section, 1);
    Write();
    EXPECT_THAT(DistributedThicknesses(0, {0, 1, 2, 3, 4}), ElementsAre(0.5, 1.5, 2.25, -7, 4.25));
    EXPECT_THAT(DistributedThicknesses(1, {0, 1, 2, 3, 4, 5}), ElementsAre(10, 11, 12, 13, 14, -7));

    const auto constants = NewAttribute(
        ORQSimSchema::SectionData_constantAngles, Collection(ORQSimSchema::Model_sectionLayers),
        Collection(ORQSimSchema::Model_sections), ORQSimScalarFloat);
    AddDrawer<float>(constants, {1}, {section}, {22.5F});
    EXPECT_THAT(Section(SectionAt(section)).GetConstRotationAngles(), ElementsAre(kNone, 22.5));
}

TEST_F(Sections, DrawersOfSeveralLayersAreRefused) {
    const int section = NewSection("S", 2);
    layers.AppendNumSectionPoints(0, section, 3);
    layers.AppendDistThickness(0, Region("r", {0}), Table({1}));
    layers.AppendDistAngle(0, Region("s", {0}), Table({1}));
    Write();
    const auto read = [&] { Section{SectionAt(section)}; };
    const auto points = [&] {
        ORQSrvShellSectionPoints(builder.Document()).GetNumSectionPoints(SectionAt(section), 0);
    };
    const ORQSimPosition data = builder.Model().GetPosition(ORQSimSchema::Model_sectionData);
    const auto addBoth = [&](int slot) {
        AddDrawer<double>(ValuesOf(data.GetPosition(slot)), {0, 1}, {0}, {1, 2});
    };
    addBoth(ORQSimSchema::SectionData_distributedAngles);
    EXPECT_EQ(ThrownBy(read), Thrown({"layer.Size() == 1", "ORQSrvShellSection", 400}));
    addBoth(ORQSimSchema::SectionData_distributedThicknesses);
    EXPECT_EQ(ThrownBy(read), Thrown({"layer.Size() == 1", "ORQSrvShellSection", 331}));
    AddDrawer<int>(Attribute(ORQSimSchema::SectionData_sectionPoints), {0, 1}, {section}, {1, 2});
    EXPECT_EQ(ThrownBy(points), Thrown({"layer.Size() == 1", "ORQSrvShellSectionPoints", 71}));
}

// Outside of transactions, sections are read in blocks that are kept for the next one.
TEST(SectionTable, ShowsTheStateOfEachMoment) {
    const ORQSimDatabase database = NewDatabase();
    auto& layers = omi_Singleton<ORQSrvBulkShellLayers>::Instance();
    ORQSimTransaction making(database.ContextID());
    const ORQObjModelBuilder builder(database);
    const ORQObjSectionBuilder sections(builder.Document());
    constexpr int kSections = 150;
    for (int section = 0; section < kSections; ++section) {
        sections.AddMaterial("M" + std::to_string(section), section);
        sections.AddShellSection("S" + std::to_string(section), section, 2);
    }
    making.Commit();
    const auto put = [&](double factor) {
        for (int section = 0; section < kSections; ++section) {
            layers.AppendConstThickness(1, section, factor * section);
            layers.AppendMaterial(0, section, kSections - 1 - section);
        }
        layers.WriteBulkDistributions(builder.Model());
        layers.Clean();
    };
    const ORQSimCollection collection(
        builder.Model().GetPosition(ORQSimSchema::Model_sections).GetCollection());
    const auto expect = [&](double factor, bool hasMaterials) {
        const ORQSrvShellLayerTable table(builder.Model());
        ASSERT_EQ(table.NumSections(), kSections);
        for (int section = 0; section < kSections; section += 7) {
            const Section read(collection.GetMember(section));
            const double thickness = factor == 0 ? kNone : factor * section;
            ASSERT_THAT(read.GetConstThicknesses(), ElementsAre(kNone, thickness)) << section;
            ASSERT_EQ(table.ConstThicknesses()[table.Place(1, section)], thickness);
            const int material = hasMaterials ? kSections - 1 - section : -1;
            ASSERT_EQ(builder.Document().GetCMemberIndex(read.GetMaterials()[0]), material);
            ASSERT_EQ(table.Materials()[table.Place(0, section)], material);
            ASSERT_EQ(table.Materials()[table.Place(1, section)], -1);
        }
    };
    expect(0, false);
    {
        ORQSimTransaction undone(database.ContextID());
        put(3);
        expect(3, true);
    }
    expect(0, false);
    put(2);
    expect(2, true);
    put(5);
    expect(5, true);

    const ORQSrvShellLayerTable part(builder.Model(), 148, 64);
    EXPECT_EQ(part.NumSections(), 2);
    EXPECT_THAT(part.ConstThicknesses(), ElementsAre(kNone, kNone, 740, 745));
    EXPECT_EQ(ORQSrvShellLayerTable(builder.Model(), 150, 64).NumSections(), 0);
    const ORQSrvShellLayerTable lowest(builder.Model(), 148, 64, 1);
    EXPECT_EQ(lowest.NumLayers(), 1);
    EXPECT_THAT(lowest.Materials(), ElementsAre(1, 0));
}

// Neighbours are read together, up to the layers of the one that was asked for.
TEST_F(Sections, NeighboursWithMoreLayersAreReadToo) {
    const std::vector<int> counts = {2, 6, 1, 40};
    std::vector<int> made;
    for (const int count : counts) {
        made.push_back(NewSection(("S" + std::to_string(count)).c_str(), count));
        layers.AppendConstAngle(count - 1, made.back(), 10.0 * count);
    }
    Assign("all", {0, 1}, made[0]);
    Write();
    for (const std::size_t place : {0U, 1U, 2U, 3U, 0U, 1U}) {
        const Section read(SectionAt(made[place]));
        const auto& angles = read.GetConstRotationAngles();
        ASSERT_EQ(static_cast<int>(angles.size()), counts[place]);
        EXPECT_EQ(angles[static_cast<std::size_t>(counts[place]) - 1], 10.0 * counts[place]);
    }
}

TEST_F(Sections, OfTwoCountsOfAPairTheFirstIsKept) {
    const int section = NewSection("S", 1);
    layers.AppendNumSectionPoints(0, section, 3);
    Write();
    AddDrawer<int>(Attribute(ORQSimSchema::SectionData_sectionPoints), {0}, {section}, {9});
    EXPECT_EQ(
        ORQSrvShellSectionPoints(builder.Document()).GetNumSectionPoints(SectionAt(section), 0), 3);
}

}  // namespace
