// Fields with points and layers: elements of different classes have different numbers of them.
#include <cstring>
#include <optional>
#include <vector>

#include "ORQObjMesh.h"
#include "ORQObjModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimSchema.h"
#include "Vocabulary.h"

namespace {

constexpr double kNoValue = -1;

// The elements [first, first + count) of one class.
struct Class {
    int first;
    int count;
    int nLayers;  // 0 for a field without
    int nSectionPoints;
    int nPoints;
};

// A number that says where it stands; none of them is kNoValue.
double ValueAt(int time, int layer, int sectionPoint, int element, int point, int component) {
    return ((((time * 10.0 + layer) * 10 + sectionPoint) * 1e6 + element) * 100 + point) * 10 +
           component + 1;
}

class FieldPointsTest : public DatabaseTest {
  protected:
    static constexpr int kElements = 60;

    void SetUp() override {
        m_transaction.emplace(Database().ContextID());
        const ORQObjModelBuilder model(Database());
        model.AddNodes(5);
        model.AddElements(kElements);
    }
    void CommitAndReopen() {
        m_transaction->Commit();
        m_transaction.reset();
        m_store.Reopen();
        m_transaction.emplace(Database().ContextID());
    }
    ORQObjDocument Document() const { return ORQObjDocument(Database()); }
    ORQSimPosition Elements() const {
        return ORQObjMesh(Document().GetMesh()).GetElementCollection();
    }
    ORQObjFieldDefinition Stress(int gridType, bool hasLayers) const {
        return {"S",
                ORQObjStepBuilder(Document()).StandardFieldType("S"),
                gridType,
                Elements(),
                {{1, "S11"}, {14, "S22"}, {5, "S12"}},
                hasLayers,
                ORQObjAxes::Layer};
    }
    ORQObjFieldView View(const Class& of) const {
        return {RunOf(ORQSimCollection(Elements().GetCollection()), of.first, of.count),
                {0, of.nLayers - 1},
                {0, of.nSectionPoints - 1},
                {0, of.nPoints - 1}};
    }
    ORQObjMeshedField Stored() const {
        return ORQObjStep(ORQObjModel(Document().GetModel()).GetStep("Load"))
            .GetFieldResults()
            .at(0);
    }

    // The numbers of the view's values, in the order of a buffer.
    static Doubles Values(int time, const ORQObjFieldView& view) {
        Doubles values;
        const auto each = [](ORQSimIntRange range, const auto& act) {
            for (int i = range.IsEmpty() ? 0 : range.First();
                 i <= (range.IsEmpty() ? 0 : range.Last()); ++i) {
                act(i);
            }
        };
        each(view.layers, [&](int layer) {
            each(view.sectionPoints, [&](int sectionPoint) {
                for (const int element : OrderedMembers(view.members)) {
                    each(view.points, [&](int point) {
                        for (int component = 0; component < 3; ++component) {
                            values.push_back(
                                ValueAt(time, layer, sectionPoint, element, point, component));
                        }
                    });
                }
            });
        });
        return values;
    }
    // Writes a class in pieces of so many elements, as a host does that cannot hold more.
    void Write(const ORQObjMeshedField& field, const ORQSimCSetID& time, int number,
               const Class& of, int perPiece) const {
        for (int begin = 0; begin < of.count; begin += perPiece) {
            Class piece = of;
            piece.first += begin;
            piece.count = std::min(perPiece, of.count - begin);
            field.WriteView(time, View(piece), Values(number, View(piece)).data());
        }
    }
    static Doubles Read(const ORQObjMeshedField& field, int time, const ORQObjFieldView& view) {
        Doubles values(Values(0, view).size(), kNoValue);
        field.ReadView(time, view, values.data());
        return values;
    }

    std::optional<ORQSimTransaction> m_transaction;
};

struct Case {
    int gridType;
    bool hasLayers;
    std::vector<Class> classes;
};

std::vector<Case> Cases() {
    using namespace ORQSimSchema;
    return {{Field_IntegrationPoint, false, {{0, 20, 0, 0, 8}, {20, 10, 0, 0, 1}}},
            {Field_IntegrationPoint, true, {{0, 20, 4, 3, 4}, {30, 30, 9, 2, 1}}},
            {Field_ElementNodal, false, {{0, 7, 0, 0, 20}, {40, 20, 0, 0, 3}}},
            {Field_ElementNodal, true, {{0, 7, 2, 1, 4}, {7, 20, 5, 3, 3}}},
            {Field_ElementFace, false, {{3, 10, 0, 0, 6}, {13, 4, 0, 0, 4}}},
            {Field_WholeElementFace, false, {{3, 10, 0, 0, 6}, {13, 4, 0, 0, 4}}},
            {Field_ElementCentroid, true, {{0, 30, 4, 3, 0}, {30, 30, 7, 5, 0}}},
            {Field_ElementCentroid, false, {{0, 30, 0, 0, 0}}}};
}

}  // namespace

ON_BOTH_MEDIA(FieldPointsTest);

TEST_P(FieldPointsTest, EveryValueOfEveryClassComesBackAtItsPlace) {
    const std::vector<Case> cases = Cases();
    const ORQObjStepBuilder builder(Document());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const ORQSimPosition step =
            builder.AddStep(std::to_string(i).c_str(), ORQSimSchema::Step_General);
        const ORQObjMeshedField field =
            builder.AddFieldResult(step, Stress(cases[i].gridType, cases[i].hasLayers));
        // The second time extends what the first one made.
        for (int time = 0; time < 2; ++time) {
            const double value = time;
            const ORQSimCSetID added = builder.AddTimes(step, {&value, 1});
            for (const Class& of : cases[i].classes) {
                Write(field, added, time, of, 8);
            }
        }
    }
    CommitAndReopen();

    for (std::size_t i = 0; i < cases.size(); ++i) {
        const Case& is = cases[i];
        SCOPED_TRACE(ORQSimSchema::NameOf(is.gridType));
        const ORQObjMeshedField field =
            ORQObjStep(ORQObjModel(Document().GetModel()).GetStep(std::to_string(i).c_str()))
                .GetFieldResults()
                .at(0);
        EXPECT_EQ(field.HasPoints(), is.classes[0].nPoints > 0);
        EXPECT_EQ(field.HasLayers(), is.hasLayers);
        EXPECT_EQ(field.GetMemberCollection(), Elements().GetCollection());
        EXPECT_EQ(field.GetAxes(), ORQObjAxes::Layer);
        std::size_t nBlocks = 0;
        for (const Class& of : is.classes) {
            nBlocks += static_cast<std::size_t>((of.count + 7) / 8);
            for (int time = 0; time < 2; ++time) {
                EXPECT_EQ(Read(field, time, View(of)), Values(time, View(of)));
            }
            // One element in one layer, at one point.
            ORQObjFieldView one = View({of.first + of.count - 1, 1, 0, 0, 0});
            if (is.hasLayers) {
                one.layers = {of.nLayers - 1, of.nLayers - 1};
                one.sectionPoints = {of.nSectionPoints - 1, of.nSectionPoints - 1};
            }
            if (of.nPoints > 0) {
                one.points = {of.nPoints - 1, of.nPoints - 1};
            }
            EXPECT_EQ(Read(field, 1, one), Values(1, one));
        }
        const std::vector<ORQObjFieldBlock> blocks = field.GetBlocks();
        ASSERT_EQ(blocks.size(), nBlocks);
        EXPECT_EQ(blocks[0].times.Size(), 2);
        EXPECT_EQ(blocks[0].view.points, View(is.classes[0]).points);
        EXPECT_EQ(blocks[0].view.layers, View(is.classes[0]).layers);
        EXPECT_EQ(blocks.back().view.sectionPoints, View(is.classes.back()).sectionPoints);
    }
}

// A read over two classes leaves alone what the smaller one has not.
TEST_P(FieldPointsTest, ClassesWithFewerPointsLeaveTheRestOfTheBuffer) {
    const ORQObjStepBuilder builder(Document());
    const ORQSimPosition step = builder.AddStep("Load", ORQSimSchema::Step_General);
    const ORQObjMeshedField field =
        builder.AddFieldResult(step, Stress(ORQSimSchema::Field_IntegrationPoint, false));
    const double zero = 0;
    const ORQSimCSetID time = builder.AddTimes(step, {&zero, 1});
    Write(field, time, 0, {0, 1, 0, 0, 1}, 8);
    Write(field, time, 0, {1, 1, 0, 0, 3}, 8);
    const ORQObjFieldView both = View({0, 2, 0, 0, 3});
    Doubles expected = Values(0, both);
    std::fill(expected.begin() + 3, expected.begin() + 9, kNoValue);
    EXPECT_EQ(Read(field, 0, both), expected);
    Doubles values(expected.size());
    EXPECT_EQ(field.ReadView(0, both, values.data()), 12);
}

TEST_P(FieldPointsTest, PointsAndLayersAreGivenJustWhereTheFieldHasThem) {
    using namespace ORQSimSchema;
    const ORQObjStepBuilder builder(Document());
    const ORQSimPosition step = builder.AddStep("Load", Step_General);
    const double zero = 0;
    const ORQSimCSetID time = builder.AddTimes(step, {&zero, 1});
    const ORQObjMeshedField points =
        builder.AddFieldResult(step, Stress(Field_IntegrationPoint, false));
    const ORQObjMeshedField layers = builder.AddFieldResult(step, Stress(Field_WholeElement, true));
    const ORQObjMeshedField plain = builder.AddFieldResult(step, Stress(Field_WholeElement, false));
    const Doubles values(1000, 0);
    const struct {
        const ORQObjMeshedField& field;
        Class of;
        std::initializer_list<std::string> texts;
    } refused[] = {
        {points, {0, 2, 0, 0, 0}, {"field \"S\"", "Field_IntegrationPoint has values by point"}},
        {points, {0, 2, 1, 1, 4}, {"has no layer"}},
        {layers, {0, 2, 0, 0, 0}, {"has values by layer"}},
        {layers, {0, 2, 2, 0, 0}, {"has values by section point"}},
        {layers, {0, 2, 2, 1, 1}, {"Field_WholeElement has no point"}},
        {plain, {0, 2, 0, 0, 4}, {"has no point"}},
    };
    for (const auto& one : refused) {
        EXPECT_TRUE(Fails(Failure::Usage, one.texts,
                          [&] { one.field.WriteView(time, View(one.of), values.data()); }));
        Doubles read(1000);
        EXPECT_TRUE(Fails(Failure::Usage, one.texts,
                          [&] { one.field.ReadView(0, View(one.of), read.data()); }));
        EXPECT_TRUE(one.field.GetBlocks().empty());
    }
    EXPECT_TRUE(Fails(Failure::Usage, {"number -1"}, [&] {
        ORQObjFieldView view = View({0, 2, 0, 0, 4});
        view.points = {-1, 2};
        points.WriteView(time, view, values.data());
    }));
    // A point above all that any field has.
    Write(points, time, 0, {0, 2, 0, 0, 4}, 8);
    EXPECT_TRUE(Fails(Failure::Usage, {"member 4"}, [&] {
        Read(points, 0, View({0, 2, 0, 0, 5}));
    }));
}

TEST_P(FieldPointsTest, OnlyElementsHavePointsAndLayers) {
    using namespace ORQSimSchema;
    const ORQObjStepBuilder builder(Document());
    const ORQSimPosition step = builder.AddStep("Load", Step_General);
    const auto add = [&](int gridType, bool hasLayers, const ORQSimPosition& members) {
        ORQObjFieldDefinition definition = Stress(gridType, hasLayers);
        definition.members = members;
        builder.AddFieldResult(step, definition);
    };
    const ORQSimPosition nodes = ORQObjMesh(Document().GetMesh()).GetNodeCollection();
    for (const int gridType :
         {Field_IntegrationPoint, Field_ElementNodal, Field_ElementFace, Field_WholeElementFace}) {
        EXPECT_TRUE(Fails(Failure::Usage, {"field \"S\" of step \"Load\"", NameOf(gridType)},
                          [&] { add(gridType, false, nodes); }));
    }
    EXPECT_TRUE(Fails(Failure::Usage, {"layers"}, [&] { add(Field_Nodal, true, nodes); }));
    EXPECT_TRUE(Fails(Failure::Usage, {"layers"}, [&] { add(Field_WholeModel, true, {}); }));
    EXPECT_EQ(ORQObjStep(step).GetFieldResults().size(), 0U);
}

// Whatever lies outside the layer is made unreadable: a read of the layer does not touch it.
TEST_P(FieldPointsTest, AReadOfOneLayerTouchesThatLayerOfThatTimeOnly) {
    if (!m_store.IsOnDisk()) {
        GTEST_SKIP() << "bytes are damaged on the disk";
    }
    // A layer fills many checksum blocks of 64 KiB.
    constexpr int kMany = 20'000;
    constexpr int kLayers = 5;
    {
        ORQObjModelBuilder(Database()).AddElements(kMany);
        const ORQObjStepBuilder builder(Document());
        const ORQSimPosition step = builder.AddStep("Load", ORQSimSchema::Step_General);
        const ORQObjMeshedField field =
            builder.AddFieldResult(step, Stress(ORQSimSchema::Field_WholeElement, true));
        for (int time = 0; time < 2; ++time) {
            const double value = time;
            Write(field, builder.AddTimes(step, {&value, 1}), time, {0, kMany, kLayers, 1, 0},
                  kMany);
        }
    }
    m_transaction->Commit();
    m_transaction.reset();
    m_store.Close();

    ORQObjFieldView wanted{{}, {2, 2}, {0, 0}, {}};
    std::string bytes = ReadBytes(m_store.Path() + "/bulk.bin");
    const auto placeOf = [&](double value) {
        char pattern[sizeof value];
        std::memcpy(pattern, &value, sizeof value);
        return bytes.find(std::string(pattern, sizeof value));
    };
    const std::size_t begin = placeOf(ValueAt(1, 2, 0, 0, 0, 0));
    const std::size_t end = placeOf(ValueAt(1, 2, 0, kMany - 1, 0, 2)) + sizeof(double);
    ASSERT_EQ(end - begin, kMany * 3 * sizeof(double));
    // The blocks at the two ends also have values of the layers beside.
    constexpr std::size_t kBlock = 65536;
    for (std::size_t i = 4096; i < bytes.size(); ++i) {
        if (i + kBlock < begin || i >= end + kBlock) {
            bytes[i] = static_cast<char>(~bytes[i]);
        }
    }
    WriteBytes(m_store.Path() + "/bulk.bin", bytes);
    m_store.Reopen(Mode::ReadOnly);

    wanted.members = RunOf(ORQSimCollection(Elements().GetCollection()), 0, kMany);
    EXPECT_EQ(Read(Stored(), 1, wanted), Values(1, wanted));
    wanted.layers = {0, 0};
    EXPECT_TRUE(Fails(Failure::Damaged, {}, [&] { Read(Stored(), 1, wanted); }));
    wanted.layers = {2, 2};
    EXPECT_TRUE(Fails(Failure::Damaged, {}, [&] { Read(Stored(), 0, wanted); }));
    // All of the time: the damage is found in the midst of its row.
    wanted.layers = {2, kLayers - 1};
    EXPECT_TRUE(Fails(Failure::Damaged, {}, [&] { Read(Stored(), 1, wanted); }));
    m_store.Close();
}
