// Values of fields: extrapolated from points to points, and copied between distributions.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <random>
#include <span>
#include <tuple>
#include <vector>

#include "NewDatabase.h"
#include "ORQBasFailure.h"
#include "ORQSimCSet.h"
#include "ORQSimCollection.h"
#include "ORQSimContext.h"
#include "ORQSimDatabase.h"
#include "ORQSimDistribution.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSimTransfer.h"
#include "ORQSrvCopyDistribution.h"
#include "ORQSrvExtrapolation.h"
#include "SoundAtEnd.h"

namespace {

using testing::ElementsAre;

// --- Extrapolation -------------------------------------------------------------------------------

void Extrapolate(int in, int out, int components, int items, const double* input, double* output,
                 const float* matrix) {
    ORQSrvExtrapolation::ExtrapolateDoublePrecision(in, out, components, items, input, output,
                                                    matrix);
}
void Extrapolate(int in, int out, int components, int items, const float* input, float* output,
                 const float* matrix) {
    ORQSrvExtrapolation::ExtrapolateSinglePrecision(in, out, components, items, input, output,
                                                    matrix);
}

template <class T>
void PlainLoops(int in, int out, int components, int items, const T* input, T* output,
                const float* matrix) {
    for (int k = 0; k < items; ++k) {
        for (int m = 0; m < components; ++m) {
            for (int j = 0; j < out; ++j) {
                T& value = output[(k * out + j) * components + m];
                value = 0;
                for (int i = 0; i < in; ++i) {
                    value +=
                        static_cast<T>(matrix[j * in + i]) * input[(k * in + i) * components + m];
                }
            }
        }
    }
}

template <class T>
class Extrapolation : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(Extrapolation, Precisions);

TYPED_TEST(Extrapolation, EqualsThePlainLoopsBitForBit) {
    std::mt19937 random(11);
    // Numbers of all sizes, so that every other order of a sum rounds in another way; and those
    // whose signs, overflow and underflow tell.
    const TypeParam special[] = {
        TypeParam(0), -TypeParam(0), std::numeric_limits<TypeParam>::denorm_min(),
        -std::numeric_limits<TypeParam>::min(), std::numeric_limits<TypeParam>::max()};
    const auto number = [&]() -> TypeParam {
        if (random() % 8 == 0) {
            return special[random() % std::size(special)];
        }
        const double mantissa = static_cast<double>(random()) / 4294967296.0 - 0.5;
        return static_cast<TypeParam>(std::ldexp(mantissa, static_cast<int>(random() % 40) - 20));
    };
    const int sizes[] = {0, 1, 2, 3, 4, 5, 8, 9};
    for (const int in : sizes) {
        for (const int out : sizes) {
            for (const int components : {1, 2, 3, 4, 6, 7, 9}) {
                constexpr int kItems = 3;
                std::vector<TypeParam> input(static_cast<std::size_t>(kItems * in * components));
                std::vector<float> matrix(static_cast<std::size_t>(in * out));
                std::ranges::generate(input, number);
                std::ranges::generate(matrix, [&] {
                    return static_cast<float>(random() % 9 == 0 ? 0.0 : number() / 3);
                });
                std::vector<TypeParam> expected(static_cast<std::size_t>(kItems * out * components),
                                                TypeParam(77));
                std::vector<TypeParam> actual = expected;
                PlainLoops(in, out, components, kItems, input.data(), expected.data(),
                           matrix.data());
                Extrapolate(in, out, components, kItems, input.data(), actual.data(),
                            matrix.data());
                for (std::size_t i = 0; i < expected.size(); ++i) {
                    // Which of two NaNs a sum answers is left to the machine.
                    ASSERT_TRUE((expected[i] != expected[i] && actual[i] != actual[i]) ||
                                std::memcmp(&actual[i], &expected[i], sizeof expected[i]) == 0)
                        << in << " to " << out << ", " << components << " components, value " << i
                        << ": " << actual[i] << " instead of " << expected[i];
                }
            }
        }
    }
}

TYPED_TEST(Extrapolation, SumsBeginAtPositiveZero) {
    const TypeParam input[] = {-TypeParam(0), -TypeParam(0), -TypeParam(0), -TypeParam(0)};
    TypeParam output[4] = {1, 1, 1, 1};
    const float one = 1;
    Extrapolate(1, 1, 4, 1, input, output, &one);
    for (const TypeParam value : output) {
        EXPECT_EQ(value, 0);
        EXPECT_FALSE(std::signbit(value));
    }
}

TYPED_TEST(Extrapolation, WithoutItemsNothingIsTouched) {
    const TypeParam input[] = {1, 2};
    const float matrix[] = {1, 1};
    TypeParam output[] = {5, 5};
    for (const int items : {0, -1, std::numeric_limits<int>::min()}) {
        Extrapolate(1, 1, 1, items, input, output, matrix);
    }
    Extrapolate(1, 0, 1, 2, input, output, matrix);
    Extrapolate(1, 1, 0, 2, input, output, matrix);
    EXPECT_THAT(output, ElementsAre(5, 5));
    Extrapolate(0, 1, 1, 2, static_cast<const TypeParam*>(nullptr), output, matrix);
    EXPECT_THAT(output, ElementsAre(0, 0));
    Extrapolate(1, 1, 1, 2, input, output, matrix);
    EXPECT_THAT(output, ElementsAre(1, 2));
}

// --- Copies --------------------------------------------------------------------------------------

ORQSimArray<ORQSimCSetID> Ids(std::initializer_list<ORQSimCSetID> ids) {
    ORQSimArray<ORQSimCSetID> array;
    for (const ORQSimCSetID& id : ids) {
        array.SetSize(array.Size() + 1);
        array.Get(array.Size() - 1) = id;
    }
    return array;
}

// A database with rows and columns, and distributions over them.
class Store {
  public:
    explicit Store(int nRows = 20) : rows(NewCollection(nRows)), columns(NewCollection(4)) {}

    ORQSimCollectionID NewCollection(int space) const {
        return database.Focus()
            .CreateTypedCollection(ORQSimSchema::MapperCollection_other, space)
            .GetCollection();
    }
    ORQSimCSetID Set(const ORQSimCollectionID& of, const std::vector<int>& members) const {
        return ORQSimCollection(of).CreateTempOrderedCSet(members.data(),
                                                          static_cast<int>(members.size()));
    }
    ORQSimCSetID Rows(const std::vector<int>& members) const { return Set(rows, members); }
    ORQSimCSetID Columns(const std::vector<int>& members) const { return Set(columns, members); }

    ORQSimDistributionID New(int dimensions = 2, int scalar = ORQSimScalarDouble) const {
        std::vector<ORQSimCollectionID> grid = {rows, columns};
        grid.resize(static_cast<std::size_t>(dimensions));
        return ORQSimContext(database.ContextID())
            .CreateDistribution(ORQSimGrid(grid), ORQSimRangeType(scalar),
                                ORQSimTypeID(ORQSimSchema::DistributionRecord));
    }
    // A drawer of which each value is 100 row + column; extendable when it is chunked.
    void AddDrawer(const ORQSimDistributionID& to, const std::vector<int>& rowMembers,
                   const std::vector<int>& columnMembers, bool isChunked,
                   int extendable = 0) const {
        std::vector<double> values;
        for (const int row : rowMembers) {
            for (const int column : columnMembers) {
                values.push_back(100 * row + column);
            }
        }
        ORQSimTransfer write{ORQSimDistribution(to)};
        if (isChunked) {
            ORQSimArray<int> chunks(2);
            chunks.Get(0) = 3;
            chunks.Get(1) = 2;
            write.SetMakeNewDrawerChunked(chunks).SetExtendableDim(extendable);
        } else {
            write.SetMakeNewDrawer();
        }
        write.SetWrite()
            .SetDim(0, Rows(rowMembers))
            .SetDim(1, Columns(columnMembers))
            .SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof(double)))
            .ExecWrite();
    }
    // A sparse drawer of 100 row + column in every other cell.
    void AddSparseDrawer(const ORQSimDistributionID& to, const std::vector<int>& rowMembers,
                         const std::vector<int>& columnMembers) const {
        std::vector<double> values;
        std::vector<int> indices;
        std::vector<int> map = {0};
        for (const int row : rowMembers) {
            for (int i = row % 2; i < std::ssize(columnMembers); i += 2) {
                indices.push_back(i);
                values.push_back(100 * row + columnMembers[static_cast<std::size_t>(i)]);
            }
            map.push_back(static_cast<int>(values.size()));
        }
        const auto size = [](const auto& items) {
            return static_cast<std::int64_t>(items.size() * sizeof items[0]);
        };
        ORQSimTransfer(ORQSimDistribution(to))
            .SetWrite()
            .SetMakeNewDrawer()
            .SetSerialization(ORQSimSerializationType().SetSparse())
            .SetSparseNNonzero(static_cast<int>(values.size()))
            .SetDim(0, Rows(rowMembers))
            .SetDim(1, Columns(columnMembers))
            .SetBuffer(ORQSimbufMain, values.data(), size(values))
            .SetBuffer(ORQSimbufIndicesNZ, indices.data(), size(indices))
            .SetBuffer(ORQSimbufSparseMap, map.data(), size(map))
            .ExecWrite();
    }
    // All values of the four columns; -1 where there is none.
    std::vector<double> Read(const ORQSimDistributionID& from) const {
        std::vector<double> values(4 * static_cast<std::size_t>(ORQSimCSet(rows).Size()), -1);
        ORQSimTransfer(ORQSimDistribution(from))
            .SetRead()
            .SetDim(0, ORQSimCSet(rows))
            .SetDim(1, ORQSimCSet(columns))
            .SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof(double)))
            .ExecRead();
        return values;
    }

    ORQSimDatabase database = NewDatabase();
    ORQSimTransaction transaction{database.ContextID()};
    ORQSimCollectionID rows;
    ORQSimCollectionID columns;
    SoundAtEnd sound{database};
};

class CopyDistribution : public testing::Test {
  protected:
    void Copy(const ORQSimArray<ORQSimCSetID>& from, const ORQSimArray<ORQSimCSetID>& to) const {
        ORQSrvCopyDistribution(source, target, from, to, ORQSrvDistributionTransform());
    }
    void CopyAll() const { Copy(Ids({{}, {}}), Ids({{}, {}})); }

    Store store;
    ORQSimDistributionID source = store.New();
    ORQSimDistributionID target = store.New();
};

TEST_F(CopyDistribution, DrawersOfAllKindsComeOver) {
    store.AddDrawer(source, {7, 0, 3}, {0, 1}, true);
    store.AddDrawer(source, {9, 12, 5}, {1, 0}, true);
    CopyAll();
    EXPECT_EQ(store.Read(target), store.Read(source));
    const auto drawers = ORQSimDistribution(target).QueryDrawers();
    ASSERT_EQ(drawers.Size(), 1);  // the second one was put to the first
    EXPECT_EQ(drawers.ConstGet(0).ExtendableDim(), 0);
    ORQSimArray<int> chunks;
    drawers.ConstGet(0).ChunkSizes(chunks);
    EXPECT_THAT(std::vector<int>(chunks.begin(), chunks.end()), ElementsAre(3, 2));

    store.AddDrawer(source, {15}, {3, 1}, false);
    target = store.New();
    CopyAll();
    EXPECT_EQ(store.Read(target), store.Read(source));
    EXPECT_EQ(ORQSimDistribution(target).NumDrawers(), 2);
}

TEST_F(CopyDistribution, DrawersGrowOnAlongTheDimensionThatTheyHad) {
    for (const int dimension : {-1, 0, 1}) {
        const ORQSimDistributionID from = store.New();
        const ORQSimDistributionID to = store.New();
        store.AddDrawer(from, {5, 2, 3}, {3, 1}, true, dimension);
        ORQSrvCopyDistribution(from, to, Ids({{}}), Ids({{}}), ORQSrvDistributionTransform());
        ASSERT_EQ(ORQSimDistribution(to).NumDrawers(), 1);
        const auto drawer = ORQSimDistribution(to).QueryDrawers().ConstGet(0);
        EXPECT_EQ(drawer.ExtendableDim(), dimension);
        EXPECT_EQ(drawer.IsChunked(), dimension >= 0);
        EXPECT_EQ(store.Read(to), store.Read(from));
        if (dimension < 0) {
            continue;
        }
        // More of the same comes to the same drawer.
        const ORQSimDistributionID more = store.New();
        store.AddDrawer(more, dimension == 0 ? std::vector{9} : std::vector{5, 2, 3},
                        dimension == 0 ? std::vector{3, 1} : std::vector{0}, true, dimension);
        ORQSrvCopyDistribution(more, to, Ids({{}}), Ids({{}}), ORQSrvDistributionTransform());
        EXPECT_EQ(ORQSimDistribution(to).NumDrawers(), 1);
        EXPECT_EQ(store.Read(to)[dimension == 0 ? 4 * 9 + 3 : 4 * 5], dimension == 0 ? 903 : 500);
    }
}

// What a sparse drawer stores comes over, and nothing else.
TEST_F(CopyDistribution, SparseDrawersStaySparse) {
    store.AddSparseDrawer(source, {7, 0, 3}, {2, 0, 3, 1});
    store.AddDrawer(source, {12}, {0}, false);
    CopyAll();
    EXPECT_EQ(store.Read(target), store.Read(source));
    const auto drawers = ORQSimDistribution(target).QueryDrawers();
    ASSERT_EQ(drawers.Size(), 2);
    EXPECT_EQ(drawers.ConstGet(0).Layout(), ORQSimDrawerLayout::Sparse);
    EXPECT_EQ(drawers.ConstGet(0).DataSizeItems(), 6);

    // Restricted, and to other members.
    target = store.New();
    Copy(Ids({store.Rows({3, 0, 1}), store.Columns({0, 1, 2})}),
         Ids({store.Rows({10, 11, 12}), store.Columns({3, 2, 0})}));
    std::vector<double> expected(80, -1);
    expected[10 * 4 + 3] = 300;  // of row 3 the columns 0 and 1
    expected[10 * 4 + 2] = 301;
    expected[11 * 4 + 0] = 2;  // of row 0 the columns 2 and 3
    EXPECT_EQ(store.Read(target), expected);
    EXPECT_EQ(ORQSimDistribution(target).QueryDrawers().ConstGet(0).DataSizeItems(), 3);
}

TEST_F(CopyDistribution, ATransformSeesASparseDrawerWhole) {
    class Raise : public ORQSrvDistributionTransform {
      public:
        void Update(void* data, const ORQSimArray<ORQSimCSetID>& domains) const override {
            const int count =
                ORQSimCSet(domains.ConstGet(0)).Size() * ORQSimCSet(domains.ConstGet(1)).Size();
            std::span values(static_cast<double*>(data), static_cast<std::size_t>(count));
            EXPECT_THAT(values, ElementsAre(200, 0, 0, 702));
            for (double& value : values) {
                value += 0.5;
            }
        }
    };
    store.AddSparseDrawer(source, {7, 1, 2}, {0, 2});
    ORQSrvCopyDistribution(source, target, Ids({store.Rows({7, 2}), store.Columns({2, 0})}),
                           Ids({{}, {}}), Raise());
    std::vector<double> expected(80, -1);
    expected[7 * 4 + 2] = 702.5;
    expected[2 * 4 + 0] = 200.5;
    EXPECT_EQ(store.Read(target), expected);
}

TEST_F(CopyDistribution, ValuesOfAnotherTypeOfTheSameSizeAreRefused) {
    store.AddDrawer(source, {1}, {0}, false);
    for (const int scalar : {ORQSimScalarInt64, ORQSimScalarDouble}) {
        target = store.New(2, scalar);
        if (scalar == ORQSimScalarDouble) {
            CopyAll();
            EXPECT_EQ(store.Read(target), store.Read(source));
        } else {
            EXPECT_THROW(CopyAll(), ORQBasFailure);
            EXPECT_EQ(ORQSimDistribution(target).NumDrawers(), 0);
        }
    }
}

TEST_F(CopyDistribution, WorksInTheCallersTransaction) {
    const Store other;
    for (const bool isSparse : {false, true}) {
        const ORQSimDistributionID from = other.New();
        if (isSparse) {
            other.AddSparseDrawer(from, {3, 2}, {0, 1});
        } else {
            other.AddDrawer(from, {3, 2}, {0, 1}, false);
        }
        const ORQSimDatabase plain = NewDatabase();
        const SoundAtEnd sound(plain);
        ORQSimDistributionID to;
        {
            ORQSimTransaction making(plain.ContextID());
            const auto collection = [&](int space) {
                return plain.Focus().CreateTypedCollection(1, space).GetCollection();
            };
            to =
                plain.Focus()
                    .CreateTypedDistribution(ORQSimGrid(std::vector{collection(20), collection(4)}),
                                             1, ORQSimRangeType(ORQSimScalarDouble))
                    .GetDistribution();
            making.Commit();
        }
        const auto copy = [&] {
            ORQSrvCopyDistribution(from, to, Ids({{}}), Ids({{}}), ORQSrvDistributionTransform());
        };
        EXPECT_THROW(copy(), ORQBasFailure);
        {
            const ORQSimTransaction undone(plain.ContextID());
            copy();
            EXPECT_EQ(ORQSimDistribution(to).NumDrawers(), 1);
        }
        EXPECT_EQ(ORQSimDistribution(to).NumDrawers(), 0);
    }
}

TEST_F(CopyDistribution, DomainsAreRestrictedAndPairedByTheirOrder) {
    store.AddDrawer(source, {4, 5, 6, 7}, {0, 1, 2}, false);
    store.AddDrawer(source, {18}, {0}, false);
    Copy(Ids({store.Rows({7, 5, 1}), store.Columns({0, 2})}),
         Ids({store.Rows({2, 11, 3}), store.Columns({3, 1})}));
    std::vector<double> expected(80, -1);
    expected[2 * 4 + 3] = 700;
    expected[2 * 4 + 1] = 702;
    expected[11 * 4 + 3] = 500;
    expected[11 * 4 + 1] = 502;
    EXPECT_EQ(store.Read(target), expected);
    EXPECT_EQ(ORQSimDistribution(target).NumDrawers(), 1);  // the other drawer met nothing

    EXPECT_THROW(Copy(Ids({store.Rows({7, 5})}), Ids({store.Rows({1})})), ORQBasFailure);
    EXPECT_EQ(store.Read(target), expected);
}

TEST_F(CopyDistribution, WhatCannotJoinOneDrawerIsRefused) {
    store.AddDrawer(source, {0, 1}, {0, 1}, true);
    store.AddDrawer(source, {2, 3}, {2, 3}, true);
    EXPECT_THROW(CopyAll(), ORQBasFailure);
}

TEST_F(CopyDistribution, AnotherDatabaseIsATargetToo) {
    store.AddDrawer(source, {3, 2}, {0, 1, 2, 3}, false);
    const Store other;
    target = other.New();
    Copy(Ids({store.Rows({2, 3})}), Ids({other.Rows({19, 0})}));
    std::vector<double> expected(80, -1);
    for (int column = 0; column < 4; ++column) {
        expected[static_cast<std::size_t>(19 * 4 + column)] = 200 + column;
        expected[static_cast<std::size_t>(column)] = 300 + column;
    }
    EXPECT_EQ(other.Read(target), expected);
}

TEST(LargeCopyDistribution, PiecesMakeUpTheWhole) {
    const Store large(600000);  // 19 MB
    std::vector<int> all(600000);
    std::iota(all.begin(), all.end(), 0);
    const ORQSimDistributionID source = large.New();
    large.AddDrawer(source, all, {0, 1, 2, 3}, false);
    const ORQSimDistributionID whole = large.New();
    ORQSrvCopyDistribution(source, whole, Ids({{}}), Ids({{}}), ORQSrvDistributionTransform());
    EXPECT_EQ(large.Read(whole), large.Read(source));
    EXPECT_EQ(ORQSimDistribution(whole).NumDrawers(), 1);

    // Scattered rows, turned round.
    std::erase_if(all, [](int row) { return row % 3 == 0; });
    const ORQSimCSetID some = large.Rows(all);
    std::ranges::reverse(all);
    const ORQSimCSetID turned = large.Rows(all);
    const ORQSimDistributionID part = large.New();
    ORQSrvCopyDistribution(source, part, Ids({some}), Ids({turned}), ORQSrvDistributionTransform());
    const std::vector<double> values = large.Read(part);
    for (std::size_t row = 0; row < 600000; ++row) {
        // Row 1 goes to 599,999, row 2 to 599,998, and so on.
        const double expected = row % 3 == 0 ? -1 : 100.0 * static_cast<double>(600000 - row) + 2;
        ASSERT_EQ(values[4 * row + 2], expected) << row;
    }
}

TEST_F(CopyDistribution, TheTransformChangesEachBlock) {
    class Negate : public ORQSrvDistributionTransform {
      public:
        void Update(void* data, const ORQSimArray<ORQSimCSetID>& domains) const override {
            const ORQSimCSet rows(domains.ConstGet(0));
            const ORQSimCSet columns(domains.ConstGet(1));
            double* value = static_cast<double*>(data);
            for (ORQSimCSetIterator row(rows); !row.IsDone(); row.Next()) {
                for (ORQSimCSetIterator column(columns); !column.IsDone(); column.Next()) {
                    EXPECT_EQ(*value, 100 * row.CurrentValue() + column.CurrentValue());
                    *value = -*value;
                    ++value;
                }
            }
        }
    };
    store.AddDrawer(source, {8, 6, 4}, {2, 1}, true);
    store.AddDrawer(source, {1, 2}, {1, 2}, true);
    ORQSrvCopyDistribution(source, target, Ids({store.Rows({8, 4, 1})}), Ids({{}}), Negate());
    std::vector<double> expected(80, -1);
    for (const int row : {8, 4, 1}) {
        for (const int column : {2, 1}) {
            expected[static_cast<std::size_t>(row * 4 + column)] = -(100 * row + column);
        }
    }
    EXPECT_EQ(store.Read(target), expected);
}

TEST_F(CopyDistribution, InconsistenciesEndTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const testing::ExitedWithCode status(1);
    const auto all = Ids({{}, {}});
    const auto expectEnd = [&](const ORQSimDistributionID& to,
                               const ORQSimArray<ORQSimCSetID>& from,
                               const ORQSimArray<ORQSimCSetID>& onto, const char* text) {
        EXPECT_EXIT(ORQSrvCopyDistribution(source, to, from, onto, ORQSrvDistributionTransform()),
                    status, testing::HasSubstr(text));
    };
    store.AddDrawer(source, {1, 2}, {0}, false);
    expectEnd(store.New(1), all, all, "The dimensions of the two distributions must match");
    expectEnd(target, Ids({}), all, "CSets missing for all domains of distribution being read");
    expectEnd(target, all, Ids({}), "CSets missing for all domains of distribution being written");
    expectEnd(store.New(2, ORQSimScalarFloat), all, all,
              "bufferSize == writeTrans.RequiredBufferSize()");
    store.AddDrawer(target, {0}, {0}, false);
    store.AddDrawer(source, {3}, {0}, true);
    expectEnd(target, all, all,
              "Extendable dimension in distribution being read, however >1 drawers exist in "
              "distributino being updated");
    store.AddDrawer(target, {5}, {0}, false);
    expectEnd(target, all, all, "writeDrwDescArray.Size() == 0 || writeDrwDescArray.Size() == 1");
}

}  // namespace
