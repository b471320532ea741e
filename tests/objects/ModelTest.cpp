// The builder of standard models, the document and the labels.
#include <algorithm>
#include <climits>
#include <functional>
#include <numeric>

#include "ORQObjDocument.h"
#include "ORQObjLabeler.h"
#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimDSet.h"
#include "Vocabulary.h"

namespace {

constexpr auto kNode = ORQObjLabelerType::Node;
constexpr auto kElement = ORQObjLabelerType::Element;

class ModelTest : public DatabaseTest {
  protected:
    void SetUp() override { m_transaction.emplace(Database().ContextID()); }
    void CommitAndReopen() {
        m_transaction->Commit();
        m_transaction.reset();
        m_store.Reopen();
    }
    ORQObjModelBuilder Builder() const { return ORQObjModelBuilder(Database()); }
    // An instance with as many new nodes as labels.
    ORQSimCSetID AddLabelled(const char* name, const Ints& labels) const {
        const ORQObjModelBuilder builder = Builder();
        const ORQSimCSetID nodes = builder.AddNodes(static_cast<int>(labels.size()));
        builder.SetLabels(kNode, builder.AddInstance(name), nodes, labels.data());
        return nodes;
    }
    ORQObjLabeler Labels(ORQObjLabelerType type = kNode) const {
        ORQObjLabeler labeler{ORQObjDocument(Database()), type};
        labeler.Read();
        return labeler;
    }

    std::optional<ORQSimTransaction> m_transaction;
};

std::pair<Ints, Ints> LabelsAndOrdinals(const ORQObjLabeler& labeler, const char* instance) {
    ORQSimArray<int> labels(3);
    ORQSimArray<int> ordinals;
    labeler.GetInstanceLabelsAndOrdinals(instance, labels, ordinals);
    return {{labels.begin(), labels.end()}, {ordinals.begin(), ordinals.end()}};
}

}  // namespace

ON_BOTH_MEDIA(ModelTest);

TEST_P(ModelTest, ABuilderGoesOnWithTheModelThatAnotherBegan) {
    Builder().SetTitle("first");
    const ORQSimPosition instance = Builder().AddInstance("PART-1");
    EXPECT_EQ(Members(ORQSimCSet(Builder().AddNodes(3))), (Ints{0, 1, 2}));
    CommitAndReopen();
    m_transaction.emplace(Database().ContextID());
    const ORQSimPosition model = ORQObjDocument(Database()).GetModel();
    const ORQObjModelBuilder again = Builder();
    EXPECT_EQ(again.Model(), model);
    EXPECT_EQ(again.AddInstance("PART-1").ID().MinorID(), instance.ID().MinorID());
    EXPECT_NE(again.AddInstance("part-1").ID().MinorID(), instance.ID().MinorID());
    EXPECT_EQ(Members(ORQSimCSet(again.AddNodes(2))), (Ints{3, 4}));
    EXPECT_EQ(Focus().Name(ORQSimSchema::Document_title), "first");
    EXPECT_EQ(Labels().Occurrences().Size(), 2);
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(ModelTest, StandardObjectsLieWhereReadersLook) {
    Builder();
    const ORQObjDocument document(Database());
    const ORQObjMesh mesh(document.GetMesh());
    EXPECT_FALSE(mesh.GetNodeCollection().GetCollection().IsNull());
    EXPECT_FALSE(mesh.GetElementCollection().GetCollection().IsNull());
    EXPECT_EQ(ORQSimDistribution(mesh.GetCoordinates().GetDistribution()).NumDimensions(), 2);
    EXPECT_TRUE(ORQSimDSet(mesh.GetConnectivity()).IsEmpty());
    EXPECT_TRUE(ORQObjModel(document.GetModel()).GetStep("Step-1").IsNull());
    // Components and degrees of freedom by name and place.
    const ORQSimCollectionID components = document.GetComponentCollection().GetCollection();
    const ORQSimDynamicID second =
        document.GetSymbol(ORQSimSchema::ComponentSymbol, "C_2", components);
    EXPECT_EQ(ORQSimPosition(second).GetSymbolPosition(), 12);
    EXPECT_TRUE(document.GetSymbol(ORQSimSchema::ComponentSymbol, "C_4", components).IsNull());
    const ORQSimDynamicID rotation =
        document.GetSymbol(ORQSimSchema::DofSymbol, "ROTATION_ANGLE_1",
                           document.GetDofTypeCollection().GetCollection());
    EXPECT_EQ(ORQSimPosition(rotation).GetSymbolPosition(), 15);
    for (const ORQSimPosition& library :
         {document.GetElementSpecCollection(), document.GetMaterialCollection(),
          document.GetPointCollection()}) {
        EXPECT_FALSE(library.GetCollection().IsNull());
    }
    const ORQSimPosition results = document.CreateDataRecord(Slot(1)).Pos();
    document.SetResults(results);
    EXPECT_EQ(document.GetResults(), results);
}

TEST_P(ModelTest, ImpossibleRequestsAreRefused) {
    const ORQObjModelBuilder builder = Builder();
    EXPECT_EQ(Members(ORQSimCSet(builder.SpatialDirections(2))), (Ints{1, 2}));
    EXPECT_EQ(Members(ORQSimCSet(builder.SpatialDirections(3))), (Ints{1, 2, 3}));
    EXPECT_TRUE(Fails(Failure::Usage, {"not 1"}, [&] { builder.SpatialDirections(1); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"-1 members"}, [&] { builder.AddNodes(-1); }));
    builder.AddNodes(7);
    EXPECT_TRUE(Fails(Failure::Usage, {"to 7"}, [&] { builder.AddNodes(INT_MAX - 6); }));
    m_transaction.reset();
    EXPECT_TRUE(Fails(Failure::Usage, {"transaction"}, [&] { Builder(); }));
}

TEST_P(ModelTest, SetsOfTheWrongCollectionAreRefusedBeforeAnythingIsMade) {
    const ORQObjModelBuilder builder = Builder();
    const ORQSimCSetID nodes = builder.AddNodes(4);
    const ORQSimCSetID elements = builder.AddElements(2);
    const ORQSimPosition part = builder.AddInstance("PART-1");
    const ORQSimPosition spec = builder.AddElementSpec("S4");
    const int far[] = {1, 2};
    const ORQSimCSetID beyond =
        ORQSimCollection(elements.CollectionID()).CreateTempCSet(far, 2, true);
    ORQSimCSetID undone;
    {
        const ORQSimTransaction inner(Database().ContextID());
        undone = ORQSimCollection(elements.CollectionID()).CreateCSetStrided(0, 1, 1, 1);
    }
    const int labels[] = {9, 5, 7, 3};
    const auto refuses = [&](const ORQSimCSetID& set, std::initializer_list<std::string> parts) {
        const auto expect = [&](const char* what, const std::function<void()>& call) {
            EXPECT_TRUE(Fails(Failure::Usage, {set == undone ? "set " : what}, call));
            EXPECT_TRUE(Fails(Failure::Usage, parts, call)) << what;
        };
        expect("element set \"E\"", [&] { builder.AddElementSet("E", 1, set); });
        expect("block \"E\"", [&] { builder.AddBlock("E", 1, "S4", "S4", set); });
        expect("surface \"E\", face 2", [&] { builder.AddSurface("E", 1, {{2, set}}); });
        expect("assignment 1, of element spec \"S4\"", [&] {
            builder.AssignElementSpecs({{spec, elements}, {spec, set}});
        });
        expect("labels of instance \"PART-1\"",
               [&] { builder.SetLabels(kElement, part, set, labels); });
    };
    refuses(nodes, {"NodeCollection", "ElementCollection"});
    refuses(beyond, {"member 2", "2 members"});
    refuses(undone, {"undone"});
    refuses({}, {"null"});
    EXPECT_TRUE(Fails(Failure::Usage, {"node set \"N\"", "ElementCollection"},
                      [&] { builder.AddNodeSet("N", 1, elements); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"assignment 0", "no element spec"}, [&] {
        builder.AssignElementSpecs({{part, elements}});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"surface \"E\", face -1"}, [&] {
        builder.AddSurface("E", 1, {{-1, elements}});
    }));
    builder.AddElementSet("E", 1, elements);
    builder.AddSurface("E", 1, {{0, elements}});
    CommitAndReopen();
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(ModelTest, LabelsComeInTheirOwnOrderWithTheirOrdinals) {
    AddLabelled("PART-1", {30, 10, 20});
    AddLabelled("PART-2", {10, 4000000, INT_MAX});
    Builder().AddInstance("EMPTY");
    CommitAndReopen();
    const ORQObjLabeler labeler = Labels();
    EXPECT_EQ(LabelsAndOrdinals(labeler, "PART-1"), std::pair(Ints({10, 20, 30}), Ints({1, 2, 0})));
    EXPECT_EQ(LabelsAndOrdinals(labeler, "PART-2"),
              std::pair(Ints({10, 4000000, INT_MAX}), Ints({3, 4, 5})));
    EXPECT_EQ(LabelsAndOrdinals(labeler, "PART-3"), std::pair(Ints(), Ints()));
    EXPECT_EQ(labeler.GetInstanceLabel("PART-1", 0), 30);
    EXPECT_EQ(labeler.GetInstanceLabel("PART-1", 3), -1);
    EXPECT_EQ(labeler.GetInstanceLabel("PART-2", 5), INT_MAX);
    EXPECT_EQ(labeler.GetInstanceLabel("none", 0), -1);
    EXPECT_EQ(labeler.GetInstanceOrdinal("PART-1", 10), 1);
    EXPECT_EQ(labeler.GetInstanceOrdinal("PART-2", 10), 3);
    EXPECT_EQ(labeler.GetInstanceOrdinal("PART-1", 15), -1);
    EXPECT_EQ(labeler.GetInstanceOrdinal("none", 10), -1);
    Texts names;
    for (const ORQString& name : labeler.Occurrences()) {
        names.push_back(name.UTF8());
    }
    EXPECT_EQ(names, (Texts{"PART-1", "PART-2", "EMPTY"}));
    EXPECT_TRUE(labeler.IsInstanceValid("PART-2"));
    EXPECT_FALSE(labeler.IsInstanceValid("EMPTY"));
    EXPECT_FALSE(labeler.IsInstanceValid("part-2"));
    ORQString instance = "before";
    EXPECT_FALSE(labeler.GetOccurrenceForFlatMeshOrdinal(6, instance));
    EXPECT_EQ(instance, "before");
    EXPECT_TRUE(labeler.GetOccurrenceForFlatMeshOrdinal(4, instance));
    EXPECT_EQ(instance, "PART-2");
    EXPECT_EQ(Labels(kElement).GetInstanceLabel("PART-1", 0), -1);
    EXPECT_EQ(Members(ORQObjMesh(ORQObjDocument(Database()).GetMesh()).GetUserNodes().CSet()),
              (Ints{0, 1, 2, 3, 4, 5}));
    EXPECT_EQ(Database().Verify(), Texts());
}

TEST_P(ModelTest, ManyLabelsInAnyOrderAreFoundAgain) {
    constexpr int kCount = 250'000;
    Ints labels(kCount);
    std::iota(labels.begin(), labels.end(), 1);
    for (int& label : labels) {
        label *= 3;
    }
    std::mt19937 random(7);
    std::shuffle(labels.begin(), labels.end(), random);
    AddLabelled("PART-1", labels);
    CommitAndReopen();
    const ORQObjLabeler labeler = Labels();
    for (int ordinal = 0; ordinal < kCount; ordinal += 97) {
        const int label = labels[static_cast<std::size_t>(ordinal)];
        ASSERT_EQ(labeler.GetInstanceLabel("PART-1", ordinal), label);
        ASSERT_EQ(labeler.GetInstanceOrdinal("PART-1", label), ordinal);
        ASSERT_EQ(labeler.GetInstanceOrdinal("PART-1", label + 1), -1);
    }
}

TEST_P(ModelTest, LabelsGoWithTheMembersInTheOrderOfTheirSet) {
    const ORQObjModelBuilder builder = Builder();
    builder.AddNodes(10);
    const ORQSimCollection nodes(ORQObjMesh(builder.Mesh()).GetNodeCollection().GetCollection());
    const int members[] = {8, 2, 5};
    const int labels[] = {1, 3, 2};
    builder.SetLabels(kNode, builder.AddInstance("A"), nodes.CreateTempOrderedCSet(members, 3),
                      labels);
    EXPECT_EQ(LabelsAndOrdinals(Labels(), "A"), std::pair(Ints({1, 2, 3}), Ints({8, 5, 2})));
}

TEST_P(ModelTest, BadLabelsAreRefusedByMemberOrLabelAndWriteNothing) {
    EXPECT_TRUE(Fails(Failure::Usage, {"member 1", "\"A\"", "label 0"}, [&] {
        AddLabelled("A", {4, 0, 5});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"label -7"}, [&] { AddLabelled("A", {4, -7, 5}); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"label 4", "\"A\"", "6 and 8"}, [&] {
        AddLabelled("A", {4, 9, 4});
    }));
    EXPECT_FALSE(Labels().IsInstanceValid("A"));
    EXPECT_TRUE(ORQObjMesh(Builder().Mesh()).GetUserNodes().IsNull());
    AddLabelled("A", {4, 9, 5});
    EXPECT_TRUE(Fails(Failure::Usage, {"\"A\"", "has labels already"}, [&] {
        AddLabelled("A", {14, 19, 15});
    }));
    EXPECT_TRUE(Fails(Failure::Usage, {"instance"}, [&] {
        const int label = 1;
        Builder().SetLabels(kNode, Focus(), Builder().AddNodes(1), &label);
    }));
}

TEST(Document, AnEmptyOneCountsAsClosed) {
    const ORQObjDocument none;
    EXPECT_TRUE(none.IsClosed());
    EXPECT_TRUE(none.Focus().IsNull());
    EXPECT_TRUE(none.GetMesh().IsNull());
    EXPECT_TRUE(none.GetComponentCollection().IsNull());
    EXPECT_TRUE(none.ContextID().IsNull());
    EXPECT_EQ(none.GetCMemberIndex({}), -1);
    EXPECT_TRUE(ORQObjDocument(ORQSimPosition()).IsClosed());
    ORQObjLabeler labeler(none, kNode);
    labeler.Read();
    EXPECT_EQ(labeler.Occurrences().Size(), 0);

    ORQSimDatabase database = ORQSimDatabase::CreateInMemory();
    const ORQObjDocument document(database);
    EXPECT_FALSE(document.IsClosed());
    database.Close();
    EXPECT_TRUE(document.IsClosed());
}
