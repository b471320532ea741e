// Fields, F-tables and material tables: written, read back, and found again in a file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <optional>
#include <string>
#include <vector>

#include "NewDatabase.h"
#include "ORQBasAlloc.h"
#include "ORQBasFailure.h"
#include "ORQObjModelBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDistribution.h"
#include "ORQSimFTable.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvFieldServices.h"
#include "ORQSrvFsmFTable.h"
#include "ORQSrvFsmMaterialTable.h"
#include "SoundAtEnd.h"

namespace {

using testing::ElementsAre;

constexpr int kSlot = ads_CoreFragmentTypeIndex(48, 240);
constexpr int kOtherSlot = ads_CoreFragmentTypeIndex(48, 241);

std::vector<double> Counting(int count, double first) {
    std::vector<double> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), first);
    return values;
}

ORQSimCollectionID NewCollection(const ORQSimPosition& at, int space) {
    return at.CreateTypedCollection(ORQSimSchema::MapperCollection_other, space).GetCollection();
}

class Tables : public testing::Test {
  protected:
    ORQSimPosition NewOwner() const {
        return builder.Model().CreateDataRecord(ORQSimSchema::Material).Pos();
    }

    ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction{database.ContextID()};
    ORQObjModelBuilder builder{database};
    SoundAtEnd sound{database};
};

// --- Fields --------------------------------------------------------------------------------------

class Fields : public Tables {};

TEST_F(Fields, UniformValuesAreRead) {
    const double stored[] = {1.5, 2.5, 3.5, 4.5, 5.5, 6.5};
    double values[6];
    const auto read = [&](int b, int count) {
        const ORQSimPosition field =
            builder.Model().CreateDataRecord(ads_CoreFragmentTypeIndex(16, b)).Pos();
        field.DataRecord().SetDouble(0, b == 44 ? 1 : 6, stored);
        std::fill(values, values + 6, -1.0);
        return ORQSrvFieldServices::GetUniformFieldValue(field, values, count);
    };
    EXPECT_TRUE(read(44, 6));
    EXPECT_THAT(values, ElementsAre(1.5, -1, -1, -1, -1, -1));
    EXPECT_TRUE(read(46, 3));
    EXPECT_THAT(values, ElementsAre(1.5, 2.5, 3.5, -1, -1, -1));
    EXPECT_TRUE(read(45, 6));
    EXPECT_THAT(values, testing::ElementsAreArray(stored));
    EXPECT_FALSE(read(39, 6));
    EXPECT_THAT(values, testing::Each(-1.0));
    EXPECT_FALSE(ORQSrvFieldServices::GetUniformFieldValue({}, values, 6));
}

// Whatever stands where a field or an assignment should, lookups answer.
TEST_F(Fields, NoLookupThrows) {
    double values[] = {-1, -1, -1};
    const auto field = [&](int b) {
        return builder.Model().CreateDataRecord(ads_CoreFragmentTypeIndex(16, b)).Pos();
    };
    for (const int b : {44, 45, 46}) {
        const ORQSimPosition text = field(b);
        text.DataRecord().SetString(0, "one");
        EXPECT_FALSE(ORQSrvFieldServices::GetUniformFieldValue(text, values, 3));
    }
    EXPECT_TRUE(ORQSrvFieldServices::GetUniformFieldValue(field(45), values, 0));
    EXPECT_TRUE(ORQSrvFieldServices::GetUniformFieldValue(field(45), values, -2));
    EXPECT_THAT(values, ElementsAre(-1, -1, -1));

    // The assignment of another sort comes first and hides nothing.
    ORQSimSet assignments;
    const ORQSimPosition numbered = NewOwner();
    numbered.DataRecord().SetDouble(0, 3);
    const ORQSimPosition named = NewOwner();
    named.DataRecord().SetString(0, "STH");
    named.SetPosition(ads_CoreFragmentTypeIndex(55, 11), field(44));
    assignments.Insert(numbered);
    assignments.Insert(named);
    const auto find = [&] {
        return ORQSrvFieldServices::GetFieldPosition(assignments, {}, 0, "STH");
    };
    EXPECT_EQ(find(), named.GetPosition(ads_CoreFragmentTypeIndex(55, 11)));

    const ORQSimPosition uniform = field(44);
    database.Close();
    EXPECT_FALSE(ORQSrvFieldServices::GetUniformFieldValue(uniform, values, 3));
    EXPECT_TRUE(find().IsNull());
}

TEST_F(Fields, AreFoundByNameAndOwner) {
    ORQSimSet assignments;
    const ORQSimPosition owner = NewOwner();
    const ORQSimPosition other = NewOwner();
    const auto assign = [&](const char* name, const ORQSimPosition& to) {
        const ORQSimPosition assignment = NewOwner();
        assignment.DataRecord().SetString(0, name);
        assignment.SetPosition(ads_CoreFragmentTypeIndex(55, 12), to);
        const ORQSimPosition field = NewOwner();
        assignment.SetPosition(ads_CoreFragmentTypeIndex(55, 11), field);
        assignments.Insert(assignment);
        return field;
    };
    assign("STH", other);
    assign("ANGLE", owner);
    const ORQSimPosition first = assign("STH", owner);
    assign("STH", owner);
    const auto find = [&](const ORQSimPosition& whose, const char* name) {
        return ORQSrvFieldServices::GetFieldPosition(assignments, whose, 7, name);
    };
    EXPECT_EQ(find(owner, "STH"), first);
    EXPECT_TRUE(find(owner, "sth").IsNull());
    EXPECT_TRUE(find(first, "STH").IsNull());
}

TEST_F(Fields, ANewOneHasATableAndADistribution) {
    const ORQSimCollectionID nodes = ORQSimCSet(builder.AddNodes(5)).CollectionID();
    const int two[] = {3, 1};
    const ORQSimCSet first = ORQSimCollection(nodes).CreateVolatileOrderedCSet(two, 2);
    const ORQSimCSet second(builder.SpatialDirections(3));
    ORQSimArray<ORQString> columns(3);
    columns.Get(0) = "x";
    columns.Get(2) = "z";
    std::vector<double> data = Counting(6, 10);
    const ORQSimCollection rows(database.Focus()
                                    .GetPosition(ads_CoreFragmentTypeIndex(18, 11))
                                    .GetPosition(ads_CoreFragmentTypeIndex(19, 6))
                                    .GetCollection());
    const auto create = [&](int count, const ORQSimCSet& along) {
        return ORQSrvFieldServices::CreateFieldFTable(builder.Document(), columns, data.data(),
                                                      count, along, second, 1);
    };
    const ORQSimPosition field = create(2, first);
    EXPECT_TRUE(field.IsA(ads_CoreFragmentTypeIndex(22, 39)));
    EXPECT_EQ(rows.Space(), 2);
    const ORQSimFTable table(field.GetPosition(ads_CoreFragmentTypeIndex(16, 42)).GetFTable());
    EXPECT_EQ(table.RowCount(), 2);
    EXPECT_EQ(table.ColumnLabel(2), "z");
    std::vector<double> read(6);
    table.GetData(read.data(), 6);
    EXPECT_EQ(read, data);
    const int nodesRead[] = {1, 3};
    ORQSimTransfer(
        ORQSimDistribution(field.GetPosition(ads_CoreFragmentTypeIndex(16, 41)).GetDistribution()))
        .SetRead()
        .SetDim(0, ORQSimCollection(nodes).CreateVolatileCSet(nodesRead, 2, true))
        .SetDim(1, second)
        .SetBuffer(ORQSimbufMain, read.data(), 48)
        .ExecRead();
    EXPECT_THAT(read, ElementsAre(13, 14, 15, 10, 11, 12));

    // What cannot be made leaves nothing behind.
    EXPECT_THROW(create(2, ORQSimCSet(nodes)), ORQBasFailure);
    EXPECT_THROW(create(0, first), ORQBasFailure);
    EXPECT_EQ(rows.Space(), 2);
}

// --- F-tables ------------------------------------------------------------------------------------

class FTables : public Tables {};

TEST_F(FTables, DependenciesAreTheLastColumns) {
    ORQSimPosition owner = NewOwner();
    ORQSrvFsmFTable made;
    const std::vector<double> data = Counting(10, 0);
    made.CreateTable(owner, ORQSimSchema::FTable_general, 2, 5, kSlot, data.data(), 2, true);

    const ORQSrvFsmFTable table(owner.GetPosition(kSlot));
    EXPECT_EQ(table.NumOfRows(), 2);
    EXPECT_EQ(table.NumOfCols(), 5);
    EXPECT_EQ(table.NumberFieldVariables(), 2);
    EXPECT_TRUE(table.HasColumn("Temperature"));
    EXPECT_FALSE(table.HasColumn("temperature"));
    EXPECT_FALSE(table.HasColumn("Field_2"));
    double value = -1;
    EXPECT_FALSE(table.GetColumnData(2, "Temperature", value));
    EXPECT_FALSE(table.GetColumnData(-1, "Temperature", value));
    EXPECT_FALSE(table.GetColumnData(0, "Field_2", value));
    EXPECT_EQ(value, -1);
    EXPECT_TRUE(table.GetColumnData(1, "Temperature", value));
    EXPECT_EQ(value, 7);
    EXPECT_TRUE(table.GetColumnData(0, "Field_1", value));
    EXPECT_EQ(value, 4);
    EXPECT_EQ(made.NumOfRows(), 2);
}

TEST_F(FTables, AreFoundThroughTheFieldThatOwnsThem) {
    const ORQSimPosition field = builder.Model().CreateDataRecord(ORQSimSchema::Field_FTable).Pos();
    EXPECT_EQ(ORQSrvFsmFTable(field).NumOfRows(), 0);
    ORQSimPosition owner = field;
    const std::vector<double> data = Counting(6, 1);
    ORQSrvFsmFTable().CreateTable(owner, ORQSimSchema::FTable_general, 3, 2,
                                  ORQSimSchema::Field_fTable, data.data(), 1, true);
    const ORQSrvFsmFTable table(field);
    EXPECT_EQ(table.NumOfRows(), 3);
    EXPECT_EQ(table.NumberFieldVariables(), 1);
    for (int row = 0; row < 3; ++row) {
        double value = 0;
        EXPECT_TRUE(table.GetColumnData(row, "Field_0", value));
        EXPECT_EQ(value, 2 * row + 2);
    }
}

TEST_F(FTables, OfMoreValuesThanAnIntCountsAreRefused) {
    ORQSimPosition owner = NewOwner();
    const double one = 1;
    ORQSrvFsmFTable table;
    // 2^32, 2^31 + 1 x 1 more, and what would wrap to a small number.
    for (const auto& [rows, columns] : {std::pair(65536, 65536), {46341, 46341}, {858993460, 5}}) {
        EXPECT_THROW(table.CreateTable(owner, ORQSimSchema::FTable_general, rows, columns, kSlot,
                                       &one, 0, false),
                     ORQBasFailure);
        EXPECT_THROW(table.CreateSimpleTable(owner, rows, columns, kSlot, &one), ORQBasFailure);
    }
    ORQSimArray<ORQString> columns(65536);
    double value = 1;
    EXPECT_THROW(ORQSrvFieldServices::CreateFieldFTable(builder.Document(), columns, &value, 65536,
                                                        {}, {}, 0),
                 ORQBasFailure);
    EXPECT_TRUE(owner.GetPosition(kSlot).IsNull());
}

TEST_F(FTables, AreReadAsAWhole) {
    ORQSimPosition owner = NewOwner();
    ORQSrvFsmFTable table;
    const std::vector<double> data = Counting(12, 1);
    table.CreateTable(owner, ORQSimSchema::FTable_general, 3, 4, {"a", "b", "c"},
                      {"Field_", "field_1"}, kSlot, data.data(), 1, true);
    double** read = nullptr;
    int rows = 0;
    int columns = 0;
    bool isDependent = false;
    int variables = 0;
    table.FillPointer(read, rows, columns, isDependent, variables);
    EXPECT_EQ(rows, 3);
    EXPECT_EQ(columns, 4);
    EXPECT_TRUE(isDependent);
    EXPECT_EQ(variables, 2);  // "Field_" counts, "field_1" does not
    EXPECT_EQ(std::vector<double>(read[0], read[0] + 12), data);
    mem_Free(read[0]);
    mem_Free(read);
    const ORQSimFTable stored(owner.GetPosition(kSlot).GetFTable());
    for (int row = 0; row < 3; ++row) {
        EXPECT_EQ(stored.RowLabel(row), std::string(1, static_cast<char>('a' + row)));
    }
    EXPECT_EQ(stored.ColumnLabel(0), "Field_");
    EXPECT_EQ(stored.ColumnLabel(2), "Temperature");

    table.CreateSimpleTable(owner, 4, 3, kOtherSlot, data.data());
    EXPECT_EQ(table.NumOfCols(), 3);
    EXPECT_EQ(table.NumberFieldVariables(), 0);
    table.CreateSimpleTable(owner, 4, 3, {}, {"Field_0"}, kOtherSlot, data.data());
    double value = 0;
    EXPECT_TRUE(ORQSrvFsmFTable(owner.GetPosition(kOtherSlot)).GetColumnData(3, "Field_0", value));
    EXPECT_EQ(value, 12);
}

TEST_F(FTables, WithoutValuesNothingIsMade) {
    ORQSimPosition owner = NewOwner();
    ORQSrvFsmFTable table;
    table.CreateTable(owner, ORQSimSchema::FTable_general, 0, 5, kSlot, nullptr, 2, true);
    table.CreateSimpleTable(owner, 3, 0, kSlot, nullptr);
    EXPECT_TRUE(owner.GetPosition(kSlot).IsNull());
    EXPECT_EQ(table.NumOfRows(), 0);
    EXPECT_EQ(table.NumOfCols(), 0);
    EXPECT_FALSE(table.HasColumn("Temperature"));
    const double one = 1;
    EXPECT_THROW(table.CreateTable(owner, ORQSimSchema::FTable_general, 1, 1, kSlot, &one, 1, true),
                 ORQBasFailure);
}

// --- Material tables -----------------------------------------------------------------------------

// What FillPointer answers, as vectors.
struct Contents {
    Contents(const ORQSrvFsmMaterialTable& table, const ORQSimPosition& owner) {
        double** data = nullptr;
        table.FillPointer(owner, data, rows, columns, hasTemperatures, fieldVariables);
        const int n = table.GetNumberOfDependent();
        for (int i = 0; i < n + 2; ++i) {
            const int width =
                i < n ? table.GetDependentLengths()[i] : (i == n ? 1 : fieldVariables);
            arrays.emplace_back(data[i] == nullptr
                                    ? std::vector<double>()
                                    : std::vector<double>(data[i], data[i] + rows * width));
            mem_Free(data[i]);
        }
        mem_Free(data);
    }
    int rows = -1;
    int columns = -1;
    bool hasTemperatures = false;
    int fieldVariables = -1;
    std::vector<std::vector<double>> arrays;
};

class MaterialTables : public Tables {
  protected:
    // Rows with two dependents of 2 and 1 values, a temperature and 3 field variables.
    struct Rows {
        Rows(int count, double first)
            : n(count),
              arrays{Counting(2 * n, first), Counting(n, first + 0.25), Counting(n, first + 0.5),
                     Counting(3 * n, first + 0.75)} {
            for (const auto& array : arrays) {
                pointers.push_back(array.data());
            }
        }
        Rows& operator+=(const Rows& other) {
            n += other.n;
            for (std::size_t i = 0; i < arrays.size(); ++i) {
                arrays[i].insert(arrays[i].end(), other.arrays[i].begin(), other.arrays[i].end());
            }
            return *this;
        }
        int n;
        std::vector<std::vector<double>> arrays;
        std::vector<const double*> pointers;
    };
    ORQSimCSetID Save(const ORQSimPosition& to, Rows& data, bool hasTemperatures, int variables) {
        return table.Save(transaction, to, rows, components, scalars, data.pointers.data(), data.n,
                          hasTemperatures, variables, variableCollection);
    }
    ORQSimCSetID Append(const ORQSimPosition& to, Rows& data, bool hasTemperatures, int variables) {
        return table.Append(transaction, to, rows, components, scalars, data.pointers.data(),
                            data.n, hasTemperatures, variables);
    }

    const int types[3] = {kSlot, kOtherSlot, -1};
    const int members[2] = {4, 4};
    const int lengths[2] = {2, 1};
    ORQSrvFsmMaterialTable table{types, members, lengths, true, kSlot, 1, kSlot, 2};
    ORQSimCollectionID rows = NewCollection(builder.Model(), 0);
    ORQSimCollectionID components = NewCollection(builder.Model(), 1);
    ORQSimCollectionID scalars = NewCollection(builder.Model(), 0);
    ORQSimCollectionID variableCollection = NewCollection(builder.Model(), 7);
    ORQSimPosition owner = NewOwner();
};

TEST_F(MaterialTables, RowsComeBackInTheirOrderAcrossAppends) {
    Rows all(3, 0);
    const ORQSimCSetID saved = Save(owner, all, true, 3);
    EXPECT_EQ(ORQSimCSet(saved).Size(), 3);
    // Rows of another table lie between those of this one.
    Rows others(2, 900);
    const ORQSimPosition other = NewOwner();
    Save(other, others, true, 3);
    Rows more(4, 100);
    EXPECT_EQ(ORQSimCSet(Append(owner, more, true, 3))[0], 5);
    Append(owner, more, true, 3);

    Rows expected(3, 0);
    (expected += more) += more;
    const Contents read(table, owner);
    EXPECT_EQ(read.rows, 11);
    EXPECT_EQ(read.columns, 3);
    EXPECT_TRUE(read.hasTemperatures);
    EXPECT_EQ(read.fieldVariables, 3);
    EXPECT_EQ(read.arrays, expected.arrays);
    EXPECT_EQ(Contents(table, other).arrays, others.arrays);
    EXPECT_EQ(ORQSimCollection(components).Space(), 2);
    EXPECT_EQ(ORQSimCollection(scalars).Space(), 1);
    EXPECT_EQ(ORQSimCollection(variableCollection).Space(), 13);
}

TEST_F(MaterialTables, TemperaturesAndFieldVariablesMayBeMissing) {
    Rows data(3, 0);
    Save(owner, data, true, 3);
    EXPECT_TRUE(table.IsTemperatureDependent(owner));
    EXPECT_EQ(table.NumberFieldVariables(owner), 3);
    Save(owner, data, false, 0);  // in place of the former
    EXPECT_FALSE(table.IsTemperatureDependent(owner));
    EXPECT_EQ(table.NumberFieldVariables(owner), 0);
    Append(owner, data, true, 0);
    const Contents read(table, owner);
    EXPECT_EQ(read.rows, 6);
    EXPECT_FALSE(read.hasTemperatures);
    EXPECT_EQ(read.fieldVariables, 0);
    EXPECT_TRUE(read.arrays[2].empty());
    EXPECT_TRUE(read.arrays[3].empty());

    const ORQSrvFsmMaterialTable plain(types, members, lengths, false, kSlot, 1, kSlot, 2);
    Save(owner, data, true, 0);
    EXPECT_FALSE(plain.IsTemperatureDependent(owner));
    EXPECT_FALSE(Contents(plain, owner).hasTemperatures);
}

// What other programs find: the distributions by their type, and under which links.
TEST_F(MaterialTables, DistributionsAreTypedByWhatTheyHold) {
    Rows data(2, 0);
    Save(owner, data, true, 3);
    EXPECT_TRUE(owner.Follow(kSlot, 4).IsA(ads_CoreFragmentTypeIndex(48, 9)));
    EXPECT_TRUE(owner.Follow(kOtherSlot, 4).IsA(ads_CoreFragmentTypeIndex(48, 9)));
    EXPECT_TRUE(owner.Follow(kSlot, 1).IsA(ads_CoreFragmentTypeIndex(48, 10)));
    EXPECT_TRUE(owner.Follow(kSlot, 2).IsA(ads_CoreFragmentTypeIndex(48, 11)));
}

TEST_F(MaterialTables, WhatWouldHangUnderOneLinkIsRefused) {
    Rows data(2, 0);
    struct Case {
        int otherMember;
        int temperature;
        int variables;
    };
    for (const Case& c : {Case{4, 1, 2}, Case{5, 4, 2}, Case{5, 1, 4}, Case{5, 1, 1}}) {
        const int sameTypes[] = {kSlot, kSlot, -1};
        const int theirMembers[] = {4, c.otherMember};
        const ORQSrvFsmMaterialTable same(sameTypes, theirMembers, lengths, true, kSlot,
                                          c.temperature, kSlot, c.variables);
        for (const int count : {0, 3}) {
            EXPECT_THROW(same.Save(transaction, owner, rows, components, scalars,
                                   data.pointers.data(), 2, true, count, variableCollection),
                         ORQBasFailure);
            EXPECT_TRUE(owner.Follow(kSlot, 4).IsNull());
            EXPECT_EQ(ORQSimCollection(rows).Space(), 0);
        }
    }
}

TEST_F(MaterialTables, RowsOfAnotherShapeAreRefused) {
    Rows data(3, 0);
    Save(owner, data, true, 3);
    const int space = ORQSimCollection(rows).Space();
    EXPECT_THROW(Append(owner, data, false, 3), ORQBasFailure);
    EXPECT_THROW(Append(owner, data, true, 2), ORQBasFailure);
    Rows none(0, 0);
    EXPECT_THROW(Append(owner, none, true, 3), ORQBasFailure);
    EXPECT_THROW(Save(owner, none, true, 3), ORQBasFailure);
    EXPECT_EQ(ORQSimCollection(rows).Space(), space);
    EXPECT_EQ(Contents(table, owner).arrays, data.arrays);
}

TEST_F(MaterialTables, DependentsAreCountedUpToTheTerminator) {
    const int none[] = {-1, 5};
    EXPECT_EQ(
        ORQSrvFsmMaterialTable(none, nullptr, nullptr, true, 1, 2, 3, 4).GetNumberOfDependent(), 0);
    EXPECT_EQ(table.GetNumberOfDependent(), 2);
    EXPECT_EQ(ORQSrvFsmMaterialTable().GetDependentTypes(), nullptr);
}

TEST_F(MaterialTables, InconsistentTablesEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const testing::ExitedWithCode status(1);
    EXPECT_EXIT(Contents(table, owner), status, testing::HasSubstr("d1.IsNull() == false"));

    Rows data(2, 0);
    Save(owner, data, true, 3);
    const ORQSimPosition dependents = owner.Follow(kSlot, 4);
    const ORQSimPosition temperatures = owner.Follow(kSlot, 1);
    owner.Associate(kSlot, 1, dependents);
    EXPECT_EXIT(Contents(table, owner), status, testing::HasSubstr("domain.Size() == 1"));
    owner.Associate(kSlot, 1, temperatures);
    owner.Associate(kSlot, 2, temperatures);
    EXPECT_EXIT(table.NumberFieldVariables(owner), status,
                testing::HasSubstr("domain.Size() == 2"));
    owner.Associate(kSlot, 2, {});
    owner.Associate(kSlot, 4,
                    builder.Model().CreateTypedDistribution(
                        ORQSimGrid(std::vector{rows, components}),
                        ORQSimSchema::Material_dependents, ORQSimRangeType(ORQSimScalarDouble)));
    EXPECT_EXIT(Append(owner, data, true, 0), status, testing::HasSubstr("ddesc.Size() == 1"));
}

// Written by a child process and read by this one.
class TablesOfAnotherProcess : public testing::Test {
  protected:
    TablesOfAnotherProcess() { std::filesystem::remove_all(path); }
    ~TablesOfAnotherProcess() override { std::filesystem::remove_all(path); }

    template <class Write>
    void WriteElsewhere(Write&& write) const {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const ORQSimDatabase database = ORQSimDatabase::Create(path.string());
            write(database);
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_EQ(status, 0);
    }
    ORQSimDatabase Open() const {
        return ORQSimDatabase::Open(path.string(), ORQSimDatabase::Mode::ReadOnly);
    }

    std::filesystem::path path =
        std::filesystem::path(testing::TempDir()) / ("tables_" + std::to_string(getpid()) + ".orq");
};

TEST_F(TablesOfAnotherProcess, AMaterialTableIsRead) {
    const int types[] = {kSlot, -1};
    const int members[] = {0};
    const int lengths[] = {2};
    const ORQSrvFsmMaterialTable table(types, members, lengths, true, kSlot, 1, kSlot, 2);
    const std::vector<double> values = Counting(40000, 0.5);
    const std::vector<double> temperatures = Counting(20000, 300);
    const double* data[] = {values.data(), temperatures.data()};
    WriteElsewhere([&](const ORQSimDatabase& database) {
        ORQSimTransaction transaction(database.ContextID());
        const ORQSimPosition owner = database.Focus();
        const ORQSimCollectionID rows = NewCollection(owner, 0);
        const ORQSimCollectionID components = NewCollection(owner, 0);
        table.Save(transaction, owner, rows, components, {}, data, 20000, true, 0, {});
        table.Append(transaction, owner, rows, components, {}, data, 20000, true, 0);
        transaction.Commit();
    });
    const ORQSimDatabase database = Open();
    const SoundAtEnd sound(database);
    const Contents read(table, database.Focus());
    ASSERT_EQ(read.rows, 40000);
    EXPECT_EQ(std::memcmp(read.arrays[0].data(), values.data(), values.size() * 8), 0);
    EXPECT_EQ(std::memcmp(read.arrays[0].data() + 40000, values.data(), values.size() * 8), 0);
    EXPECT_EQ(read.arrays[1][39999], 20299);
}

TEST_F(TablesOfAnotherProcess, AFieldTableIsRead) {
    std::vector<double> data = Counting(30000, 0.25);
    WriteElsewhere([&](const ORQSimDatabase& database) {
        std::optional<ORQObjModelBuilder> builder;
        ORQSimCSetID nodes;
        {
            ORQSimTransaction transaction(database.ContextID());
            builder.emplace(database);
            nodes = builder->AddNodes(10000);
            transaction.Commit();
        }
        ORQSimArray<ORQString> columns(3);
        columns.Get(1) = "Temperature";
        const ORQSimPosition field = ORQSrvFieldServices::CreateFieldFTable(
            builder->Document(), columns, data.data(), 10000, ORQSimCSet(nodes),
            ORQSimCSet(builder->SpatialDirections(3)), 0);
        ORQSimTransaction transaction(database.ContextID());
        database.Focus().SetPosition(kSlot, field);
        transaction.Commit();
    });
    const ORQSimDatabase database = Open();
    const SoundAtEnd sound(database);
    const ORQSimPosition field = database.Focus().GetPosition(kSlot);
    const ORQSimFTable table(field.GetPosition(ORQSimSchema::Field_fTable).GetFTable());
    ASSERT_EQ(table.RowCount(), 10000);
    EXPECT_EQ(table.ColumnLabel(1), "Temperature");
    std::vector<double> read(30000);
    table.GetData(read.data(), 30000);
    EXPECT_EQ(read, data);
    const ORQSimDistribution distribution(
        field.GetPosition(ORQSimSchema::Field_distribution).GetDistribution());
    const ORQSimDrawerDescription drawer = distribution.QueryDrawers().ConstGet(0);
    std::ranges::fill(read, -1);
    ORQSimTransfer(distribution)
        .SetRead()
        .SetDim(0, drawer.CSet(0))
        .SetDim(1, drawer.CSet(1))
        .SetBuffer(ORQSimbufMain, read.data(), 240000)
        .ExecRead();
    EXPECT_EQ(read, data);
}

}  // namespace
