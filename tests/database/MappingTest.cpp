// Mappings: values where they lie in the file, where they lie in one piece, and nothing elsewhere.
#include <fstream>

#include "ORQSimMapping.h"
#include "Vocabulary.h"

namespace {

constexpr int kComponents = 2;

// Nodes 0 to nNodes - 1 with components 0 and 1; node i has 10 i and 10 i + 1.
class MappingTest : public testing::Test {
  protected:
    static double ValueAt(int node, int component) { return 10.0 * node + component; }

    void Make(int nNodes, int nodesPerChunk) {
        const ORQSimDatabase database = ORQSimDatabase::Create(m_path);
        MakeModel(database, nNodes);
        Doubles values;
        for (int node = 0; node < nNodes; ++node) {
            values.push_back(ValueAt(node, 0));
            values.push_back(ValueAt(node, 1));
        }
        InTransaction(database, [&] {
            Append(database, RunOf(Nodes(database), 0, nNodes),
                   RunOf(Components(database), 0, kComponents), values, nodesPerChunk);
        });
    }

    static ORQSimMapping Map(const ORQSimDatabase& database, const ORQSimCSet& nodes,
                             int nComponents = kComponents) {
        return ORQSimMapping::Of(Field(database),
                                 {nodes, RunOf(Components(database), 0, nComponents)});
    }
    static void ExpectRows(const ORQSimMapping& mapping, int first, int count) {
        ASSERT_FALSE(mapping.IsNull());
        ASSERT_EQ(mapping.Size(), std::int64_t{count} * kComponents * 8);
        const auto* values = static_cast<const double*>(mapping.Data());
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(values[kComponents * i], ValueAt(first + i, 0)) << i;
            ASSERT_EQ(values[kComponents * i + 1], ValueAt(first + i, 1)) << i;
        }
    }
    ORQSimDatabase Reader() const { return ORQSimDatabase::Open(m_path, Mode::ReadOnly); }

    Folder m_folder;
    std::string m_path = m_folder / "model.orq";
};

TEST_F(MappingTest, ShowsRowsOverWholeChunksAndWithinThem) {
    Make(3000, 1024);  // 16 KiB in a chunk
    const ORQSimDatabase reader = Reader();
    for (const auto& [first, count] : std::vector<std::pair<int, int>>{
             {0, 3000}, {0, 1}, {2999, 1}, {1000, 30}, {1023, 2}, {1024, 1024}, {5, 2990}}) {
        SCOPED_TRACE(testing::Message() << first << ", " << count);
        ExpectRows(Map(reader, RunOf(Nodes(reader), first, count)), first, count);
    }
}

TEST_F(MappingTest, IsNoneWhereTheFileHasNoSuchArray) {
    Make(3000, 1000);  // chunks that end within a page
    ORQSimDatabase reader = Reader();
    const ORQSimCollection nodes = Nodes(reader);
    EXPECT_TRUE(Map(reader, RunOf(nodes, 0, 3000)).IsNull());
    EXPECT_TRUE(Map(reader, RunOf(nodes, 999, 2)).IsNull());
    ExpectRows(Map(reader, RunOf(nodes, 1000, 1000)), 1000, 1000);
    EXPECT_TRUE(Map(reader, SetOf(nodes, {5, 4})).IsNull());
    EXPECT_TRUE(Map(reader, SetOf(nodes, {4, 6})).IsNull());
    EXPECT_TRUE(Map(reader, ORQSimCSet()).IsNull());
    EXPECT_TRUE(Map(reader, RunOf(nodes, 0, 9), 1).IsNull());
    EXPECT_TRUE(Map(reader, RunOf(nodes, 0, 9), 3).IsNull());
    EXPECT_TRUE(ORQSimMapping::Of(Field(reader), {RunOf(nodes, 0, 9)}).IsNull());
    EXPECT_TRUE(ORQSimMapping::Of(ORQSimDistribution(), {}).IsNull());
    const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
    EXPECT_TRUE(Map(writer, RunOf(Nodes(writer), 0, 9)).IsNull());
}

TEST_F(MappingTest, IsNoneOfCellsThatWereNeverWritten) {
    Make(100, 1024);
    {
        const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        ORQSimTransaction transaction(writer.ContextID());
        ORQSimCollection(Nodes(writer).ID()).ExtendSpace(200);
        ORQSimTransfer write(Field(writer));
        const double value[kComponents] = {1, 2};
        write.SetWrite()
            .SetDrawer(Field(writer).DrawerIDArray().ConstGet(0))
            .SetDimExtension(RunOf(Nodes(writer), 100, 100).RegisterWithCollection())
            .SetDim(0, RunOf(Nodes(writer), 0, 1))
            .SetDim(1, RunOf(Components(writer), 0, kComponents));
        write.SetBuffer(ORQSimbufMain, value, sizeof(value));
        write.ExecWrite();
        transaction.Commit();
    }
    const ORQSimDatabase reader = Reader();
    EXPECT_TRUE(Map(reader, RunOf(Nodes(reader), 0, 200)).IsNull());
    ExpectRows(Map(reader, RunOf(Nodes(reader), 1, 99)), 1, 99);
}

TEST_F(MappingTest, ComparesChecksumsFirst) {
    Make(3000, 1024);
    {
        std::fstream file(m_path + "/bulk.bin", std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(4096 + 16 * 2000);  // in the row of node 2000, if rows lie in order
        file.put('\x7f');
    }
    const ORQSimDatabase reader = Reader();
    ExpectRows(Map(reader, RunOf(Nodes(reader), 0, 1000)), 0, 1000);
    EXPECT_TRUE(
        Fails(Failure::Damaged, {"checksum"}, [&] { Map(reader, RunOf(Nodes(reader), 0, 3000)); }));
}

TEST_F(MappingTest, KeepsTheDatabaseOpenAndItsStateInPlace) {
    Make(3000, 1024);
    std::optional<ORQSimDatabase> reader = Reader();
    const ORQSimMapping mapping = Map(*reader, RunOf(Nodes(*reader), 0, 3000));
    reader.reset();
    for (int k = 0; k < 5; ++k) {
        const ORQSimDatabase writer = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
        InTransaction(writer, [&] {
            Append(writer, RunOf(Nodes(writer), 0, 3000), RunOf(Components(writer), 0, kComponents),
                   Filled(3000 * kComponents, 0));
        });
    }
    ExpectRows(mapping, 0, 3000);
}

}  // namespace
