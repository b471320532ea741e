// Degrees of freedom, components and the symbols that stand for them.
#include "LabelModel.h"
#include "NewDatabase.h"
#include "ORQSimSymbols.h"
#include "ORQSrvFunctions.h"
#include "ORQSrvSymbolCollection.h"

namespace {

class Symbols : public testing::Test {
  protected:
    LabelModel model{{}, {}};
    ORQObjDocument document{model.database};
    ORQSimPosition components = document.GetComponentCollection();

    ORQSimPosition NewSymbol(const ORQSimPosition& collection, int type, int place,
                             const char* name) const {
        return ORQSimSymbols(document.ContextID())
            .Create(ORQSimTypeID(type), place, name, collection.GetCollection());
    }
    Ints DirectionsOf(const ORQSimPosition& record) const {
        return OrderedMembers(ORQSrvGetComponentCSetFromComponentRecord(document, record).CSet());
    }
};

}  // namespace

TEST_F(Symbols, DofsLeadFromNumberToRecordAndBack) {
    const Ints places = {2, 3, 4, 15, 16, 17};
    for (int number = 1; number <= 6; ++number) {
        const ORQSimPosition record = ORQSrvGetDofRecordFromDofNumber(document, number);
        EXPECT_EQ(record.GetSymbolPosition(), places[static_cast<std::size_t>(number - 1)]);
        EXPECT_EQ(ORQSrvGetDofNumberFromDofRecord(record), number);
    }
    EXPECT_EQ(ORQSrvGetDofRecordFromDofNumber(document, 3).GetSymbolName(), "DISPLACEMENT_3");
    EXPECT_EQ(ORQSrvGetDofRecordFromDofNumber(document, 4).GetSymbolName(), "ROTATION_ANGLE_1");
    for (const int number : {-1, 0, 7}) {
        EXPECT_TRUE(ORQSrvGetDofRecordFromDofNumber(document, number).IsNull());
    }
    for (const int place : {0, 1, 5, 10, 14, 18}) {
        EXPECT_EQ(ORQSrvGetDofNumberFromDofRecord(
                      NewSymbol(document.GetDofTypeCollection(), ORQSimSchema::DofSymbol, place,
                                ("OTHER_" + std::to_string(place)).c_str())),
                  -1);
    }
    EXPECT_EQ(ORQSrvGetDofNumberFromDofRecord(model.database.Focus()), -1);
}

TEST_F(Symbols, ComponentsLeadFromNumberToRecordAndBack) {
    const Ints places = {0, 12, 20};
    for (int number = 1; number <= 3; ++number) {
        const ORQSimPosition record = ORQSrvGetComponentRecordFromDofNumber(document, number);
        EXPECT_EQ(record.GetSymbolPosition(), places[static_cast<std::size_t>(number - 1)]);
        EXPECT_EQ(ORQSrvGetComponentNumberFromComponentRecord(record), number);
        EXPECT_EQ(DirectionsOf(record), (Ints{number}));
    }
    for (const int number : {0, 4, 6}) {
        EXPECT_TRUE(ORQSrvGetComponentRecordFromDofNumber(document, number).IsNull());
    }
    EXPECT_EQ(ORQSrvGetComponentCSetFromComponentRecord(document, {}).CSet().CollectionID(),
              components.GetCollection());
    const ORQSimPosition tensor =
        ORQSrvSymbolCollection(components, ORQSimSchema::ComponentSymbol).GetSymbol("C_22");
    EXPECT_EQ(ORQSrvGetComponentNumberFromComponentRecord(tensor), 1);
    EXPECT_EQ(ORQSrvGetComponentNumberFromComponentRecord({}), 1);
    EXPECT_EQ(DirectionsOf(tensor), (Ints{-1}));
}

TEST_F(Symbols, AnEmptyDocumentHasNone) {
    const ORQSimDatabase bare = NewDatabase();
    const ORQSimPosition record = ORQSrvGetComponentRecordFromDofNumber(document, 1);
    for (const ORQObjDocument& empty : {ORQObjDocument(), ORQObjDocument(bare)}) {
        EXPECT_TRUE(ORQSrvGetDofRecordFromDofNumber(empty, 1).IsNull());
        EXPECT_TRUE(ORQSrvGetComponentRecordFromDofNumber(empty, 1).IsNull());
        EXPECT_TRUE(ORQSrvGetComponentCSetFromComponentRecord(empty, record).IsNull());
    }
}

TEST_F(Symbols, ACollectionShowsItsSymbolsByPlaceAndName) {
    const ORQSrvSymbolCollection symbols(components, ORQSimSchema::ComponentSymbol);
    const ORQSimArray<ORQString> names = symbols.GetNames();
    ASSERT_EQ(names.Size(), symbols.NumPlaces());
    EXPECT_EQ(names.Size(), 39);
    EXPECT_EQ(names.ConstGet(14), "C_22");
    EXPECT_EQ(names.ConstGet(2), "");
    for (int place = 0; place < names.Size(); ++place) {
        const ORQString& name = names.ConstGet(place);
        EXPECT_EQ(symbols.GetName(place), name);
        EXPECT_EQ(symbols.GetPlace(name), name.IsEmpty() ? -1 : place);
        EXPECT_EQ(symbols.GetSymbol(place), symbols.GetSymbol(name));
    }
    EXPECT_EQ(symbols.GetName(-1), "");
    EXPECT_EQ(symbols.GetPlace("c_22"), -1);
    EXPECT_TRUE(symbols.GetSymbol(39).IsNull());
    EXPECT_EQ(ORQSrvSymbolCollection(components, ORQSimSchema::DofSymbol).GetPlace("C_22"), -1);
    EXPECT_EQ(ORQSrvSymbolCollection({}, ORQSimSchema::DofSymbol).NumPlaces(), 0);
}
