// Lookups by scoped name: which keys are tried, and in which order.
#include <ostream>
#include <vector>

#include "NewDatabase.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimLinks.h"
#include "ORQSrvFunctions.h"
#include "SoundAtEnd.h"
#include "Vocabulary.h"

namespace {

using Lookup = ORQSimPosition (*)(const ORQSimPosition&, const ORQString&, const char*,
                                  const char*);

struct Case {
    Lookup lookup;
    int map;
    const char* prefix;
    const char* name;
    const char* separator;
    const char* instance;
    std::vector<const char*> tried;      // in this order
    std::vector<const char*> untried{};  // are there all the time
};

void PrintTo(const Case& given, std::ostream* out) {
    *out << ORQSimSchema::NameOf(given.map) << " " << given.name;
}

constexpr Lookup kElset = ORQSrvGetElementSetIDFromScopedName;
constexpr Lookup kNset = ORQSrvGetNodeSetIDFromScopedName;
constexpr Lookup kSurface = ORQSrvGetSurfaceIDFromScopedName;
constexpr Lookup kOrientation = ORQSrvGetOrientationIDFromScopedName;
constexpr int kElsets = ORQSimSchema::Model_elementSets;
constexpr int kInternalElsets = ORQSimSchema::Model_internalElementSets;
constexpr int kNsets = ORQSimSchema::Model_nodeSets;
constexpr int kInternalNsets = ORQSimSchema::Model_internalNodeSets;
constexpr int kSurfaces = ORQSimSchema::Model_surfaces;
constexpr int kOrientations = ORQSimSchema::Model_orientations;

const std::vector<Case> kCases = {
    {kNset, kNsets, "", "Set-1", "", "", {"Set-1"}, {"set-1", "_Set-1"}},
    {kNset, kNsets, "", "Set-1", nullptr, nullptr, {"Set-1"}},
    {kNset, kNsets, "", "", ".", "Part-1", {}, {"Part-1_"}},
    // A separator of the user's, of any length.
    {kNset,
     kInternalNsets,
     "",
     "Part-1.Set-1",
     ".",
     "",
     {"Part-1.Set-1", "Part-1_Set-1"},
     {"Set-1"}},
    {kOrientation, kOrientations, "", "A::B::C", "::", "", {"A::B::C", "A_B_C"}, {"A_B::C"}},
    // With an instance there is but one key.
    {kElset, kElsets, "", "Set-1", ".", "Part-1", {"Part-1_Set-1"}, {"Set-1", "Part-1.Set-1"}},
    {kElset,
     kInternalElsets,
     "M1",
     "a.b",
     ".",
     "Part-1",
     {"M1_Part-1_a.b"},
     {"Part-1_a.b", "M1_Part-1_a_b", "M1_a.b", "a.b"}},
    {kSurface, kSurfaces, "", "Set-1", "", "\"Part-1\"", {"Part-1_Set-1"}, {"\"Part-1\"_Set-1"}},
    {kSurface, kSurfaces, "", "\"Set-1\"", "", "Part-1", {"Part-1_Set-1"}},
    // The model's prefix.
    {kOrientation, kOrientations, "M1", "O1", "", "", {"O1", "M1_O1"}, {"M1O1"}},
    {kOrientation, kOrientations, "PREFIX", "P", "", "", {"P", "PREFIX_P"}},
    {kElset,
     kElsets,
     "M1",
     "M1_S1",
     "",
     "",
     {"M1_S1", "M1_M1_S1", "S1"},
     {"INP2SIM_ELSET_S1", "INP2SIM_NSET_S1"}},
    {kSurface,
     kSurfaces,
     "M1",
     "M1_S1",
     "",
     "",
     {"M1_S1", "M1_M1_S1", "S1", "INP2SIM_ELSET_S1", "INP2SIM_NSET_S1"},
     {"M1_INP2SIM_ELSET_S1", "INP2SIM_ELSET_M1_S1"}},
    {kSurface, kSurfaces, "M1", "S1", "", "", {"S1", "M1_S1"}, {"INP2SIM_ELSET_S1"}},
    {kSurface,
     kSurfaces,
     "Modèle",
     "Modèle.Çà",
     ".",
     "",
     {"Modèle.Çà", "Modèle_Çà", "Modèle_Modèle_Çà", "Çà", "INP2SIM_ELSET_Çà", "INP2SIM_NSET_Çà"}},
    // Quotes.
    {kNset, kNsets, "", "\"My Set\"", "", "", {"My Set"}, {"\"My Set\""}},
    {kNset, kNsets, "", "\"A\".\"B\"", ".", "", {"A.B", "A_B"}},
    {kNset, kNsets, "", "\"A\"x\"B\"y", "", "", {"AxBy"}},
    {kNset, kNsets, "", "\"A\"B\"", "", "", {"AB\""}, {"AB", "A"}},
    {kNset, kNsets, "", "A\"B\"", "", "", {"A\"B\""}, {"AB"}},
    {kNset, kNsets, "", "\"\"", "", "", {}, {"\"\""}},
    {kNset, kNsets, "M1", "\"\"", "", "", {"M1_"}, {"\"\""}},
    // Once more with the pieces freed of their quotes, in a model with a prefix only.
    {kNset, kNsets, "", "A_\"B\"", "", "", {"A_\"B\""}, {"A_B"}},
    {kSurface,
     kSurfaces,
     "M1",
     "M1.\"S 1\"",
     ".",
     "",
     {"M1.\"S 1\"", "M1_\"S 1\"", "M1_M1_\"S 1\"", "\"S 1\"", "INP2SIM_ELSET_\"S 1\"",
      "INP2SIM_NSET_\"S 1\"", "M1_S 1", "M1_M1_S 1", "S 1", "INP2SIM_ELSET_S 1",
      "INP2SIM_NSET_S 1"}},
    {kElset,
     kElsets,
     "P",
     "\"A\".\"B\".\"C\"_",
     ".",
     "",
     {"A.B.\"C\"_", "A_B_\"C\"_", "P_A_B_\"C\"_", "A_B_C_", "P_A_B_C_"}},
    {kElset,
     kElsets,
     "P",
     "x_\"\"\"\"\"a\"",
     "",
     "",
     {"x_\"\"\"\"\"a\"", "P_x_\"\"\"\"\"a\"", "x_\"a\"", "P_x_\"a\""},
     {"x_a", "P_x_a"}},
};

class ScopedNames : public testing::Test {
  protected:
    ScopedNames() { builder.AddNodes(1); }

    ORQSimPosition NewSet() const {
        const int member = 0;
        return ORQSimCollection(builder.Document()
                                    .GetMesh()
                                    .GetPosition(ORQSimSchema::Mesh_nodes)
                                    .GetCollection())
            .CreateCSet(&member, 1, true);
    }
    ORQSimMap Map(int slot) const { return builder.Model().GetMap(slot); }
    ORQSimPosition Insert(int slot, const ORQString& key) const {
        const ORQSimPosition set = NewSet();
        EXPECT_TRUE(Map(slot).Insert(key, set)) << key.UTF8();
        return set;
    }

    ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction{database.ContextID()};
    ORQObjModelBuilder builder{database};
    SoundAtEnd sound{database};
};

class ScopedNameCase : public ScopedNames, public testing::WithParamInterface<Case> {};
INSTANTIATE_TEST_SUITE_P(All, ScopedNameCase, testing::ValuesIn(kCases));

}  // namespace

// Finds the first key, then, when that is gone, the second, and so on.
TEST_P(ScopedNameCase, KeysAreTriedInOrder) {
    const Case& given = GetParam();
    SCOPED_TRACE(given.name);
    builder.SetModelPrefix(given.prefix);
    const auto find = [&] {
        return given.lookup(database.Focus(), given.name, given.separator, given.instance);
    };
    for (const char* key : given.untried) {
        Insert(given.map, key);
    }
    std::vector<ORQSimPosition> sets;
    for (const char* key : given.tried) {
        sets.push_back(Insert(given.map, key));
    }
    for (std::size_t i = 0; i < sets.size(); ++i) {
        EXPECT_EQ(find(), sets[i]) << given.tried[i];
        Map(given.map).Remove(given.tried[i]);
    }
    EXPECT_TRUE(find().IsNull());
}

TEST_F(ScopedNames, SetsOfTheUserComeBeforeThoseOfPrograms) {
    const ORQSimPosition root = database.Focus();
    const auto elset = [&] { return kElset(root, "S", "", ""); };
    const auto nset = [&] { return kNset(root, "S", "", ""); };
    const ORQSimPosition internalNodes = Insert(kInternalNsets, "S");
    EXPECT_TRUE(elset().IsNull());
    const ORQSimPosition internalElements = Insert(kInternalElsets, "S");
    EXPECT_EQ(nset(), internalNodes);
    EXPECT_EQ(elset(), internalElements);
    EXPECT_TRUE(kSurface(root, "S", "", "").IsNull());
    const ORQSimPosition nodes = Insert(kNsets, "S");
    const ORQSimPosition elements = Insert(kElsets, "S");
    EXPECT_EQ(nset(), nodes);
    EXPECT_EQ(elset(), elements);
}

TEST_F(ScopedNames, WithoutRetryQuotesOfPiecesStay) {
    builder.SetModelPrefix("M1");
    const ORQSimPosition set = Insert(kNsets, "A_B");
    const auto find = [&](bool retry) {
        return ORQSrvGetIDFromScopedName(database.Focus(), "A_\"B\"", kNsets, "", "", retry);
    };
    EXPECT_TRUE(find(false).IsNull());
    EXPECT_EQ(find(true), set);
}

TEST_F(ScopedNames, NamesOfObjectsLeadBackToThem) {
    const ORQSimPosition root = database.Focus();
    builder.SetModelPrefix("M1");
    builder.AddNodes(3);
    const ORQSimPosition nodes = Insert(kNsets, "M1_Part-1_Ends");
    const ORQSimPosition internalNodes = Insert(kInternalNsets, "_picked");
    const ORQSimPosition elements = Insert(kInternalElsets, "_all");
    const ORQSimPosition surface = builder.AddSurface("Skin", 1, {});
    EXPECT_EQ(ORQSrvGetNodeSetNameFromCSetID(nodes.GetCSet()), "M1_Part-1_Ends");
    EXPECT_EQ(ORQSrvGetNodeSetNameFromCSetID(internalNodes.GetCSet()), "_picked");
    EXPECT_EQ(ORQSrvGetElementSetNameFromCSetID(elements.GetCSet()), "_all");
    EXPECT_EQ(ORQSrvGetElementSetNameFromCSetID(nodes.GetCSet()), "");
    EXPECT_EQ(ORQSrvGetNodeSetNameFromCSetID(NewSet().GetCSet()), "");
    EXPECT_EQ(ORQSrvGetSurfaceNameFromID(surface.ID()), "Skin");
    EXPECT_EQ(ORQSrvGetSurfaceNameFromID(nodes.ID()), "");
    EXPECT_EQ(ORQSrvGetReferenceKey({}), "");
    EXPECT_EQ(ORQSrvGetReferenceKey(root), "");
    EXPECT_EQ(ORQSrvGetReferenceKey(Insert(kOrientations, "O1")), "O1");
    for (const ORQSimPosition& object : {nodes, internalNodes}) {
        EXPECT_EQ(kNset(root, ORQSrvGetReferenceKey(object), ".", ""), object);
    }
    EXPECT_EQ(kElset(root, ORQSrvGetReferenceKey(elements), ".", ""), elements);
    EXPECT_EQ(kSurface(root, ORQSrvGetReferenceKey(surface), ".", ""), surface);
}

using ScopedNamesDeathTest = ScopedNames;

TEST_F(ScopedNamesDeathTest, UnmatchedQuotesEndTheProcess) {
    const ORQSimPosition root = database.Focus();
    const auto exits = testing::ExitedWithCode(1);
    const char* text = ": endQuotePos < nameLen\n";
    EXPECT_EXIT(kNset(root, "\"Set-1", "", ""), exits, text);
    EXPECT_EXIT(kNset(root, "\"", "", ""), exits, text);
    EXPECT_EXIT(kSurface(root, "Set-1", "", "\"Part-1"), exits, text);
    EXPECT_TRUE(kNset(root, "A_\"B", "", "").IsNull());
    builder.SetModelPrefix("M1");
    EXPECT_EXIT(kOrientation(root, "A_\"B", "", ""), exits, text);
    EXPECT_TRUE(kNset(root, "", "", "\"Part-1").IsNull());
    // The last but one comes upon its quote in the second round.
    for (const char* name :
         {"\"Set-1", "A_\"B", "A.\"B", "x_\"a_b\"", "\"\"\"\"\"\"\"_y", "a\"\"_\""}) {
        EXPECT_FALSE(ORQSrvHasMatchedQuotes(name, ".", "")) << name;
        EXPECT_EXIT(kSurface(root, name, ".", ""), exits, text) << name;
    }
    EXPECT_FALSE(ORQSrvHasMatchedQuotes("A", ".", "\"Part-1"));
    for (const char* name : {"", "A", "\"A_B\"", "A\"", "\"A\".\"B\"", "A_\"B\"C"}) {
        EXPECT_TRUE(ORQSrvHasMatchedQuotes(name, ".", "\"I\"")) << name;
        EXPECT_TRUE(kSurface(root, name, ".", "").IsNull()) << name;
    }
}

TEST_F(ScopedNamesDeathTest, AnObjectThatIsNoSetEndsTheProcess) {
    const ORQSimPosition record = builder.Model().CreateDataRecord(Slot(1)).Pos();
    Map(kElsets).Insert("S", record);
    Map(kInternalNsets).Insert("S", record);
    Map(kSurfaces).Insert("S", record);
    const auto exits = testing::ExitedWithCode(1);
    const char* text = ": ORQSimCSetID::CanBeConverted\\(setPos.ID\\(\\)\\)\n";
    EXPECT_EXIT(kElset(database.Focus(), "S", "", ""), exits, text);
    EXPECT_EXIT(kNset(database.Focus(), "S", "", ""), exits, text);
    EXPECT_EQ(kSurface(database.Focus(), "S", "", ""), record);
}
