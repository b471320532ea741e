#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "BulkData.h"
#include "ORQBasAlloc.h"
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
#include "ORQSrvFieldServices.h"
#include "ORQSrvFsmMaterialTable.h"
#include "ORQSrvVariableMap.h"
#include "PlainFile.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

template <class T>
std::vector<T> RandomValues(std::size_t count) {
    std::vector<T> values(count);
    std::mt19937_64 random(20240229);
    for (T& value : values) {
        value = static_cast<T>(static_cast<double>(random()) * 0x1p-60);
    }
    return values;
}

// --- Extrapolation -------------------------------------------------------------------------------

constexpr int kPoints = 8;
constexpr int kComponents = 6;

// The loops as one would write them down: each sum grows where the output stands.
template <class T>
[[gnu::noinline]] void PlainLoops(int items, const T* input, T* output, const float* matrix) {
    for (std::ptrdiff_t k = 0; k < items; ++k) {
        for (int m = 0; m < kComponents; ++m) {
            for (int j = 0; j < kPoints; ++j) {
                T& value = output[(k * kPoints + j) * kComponents + m];
                value = 0;
                for (int i = 0; i < kPoints; ++i) {
                    value += static_cast<T>(matrix[j * kPoints + i]) *
                             input[(k * kPoints + i) * kComponents + m];
                }
            }
        }
    }
}

// A product of matrices for each item, whose sums may run in another order.
template <class T>
[[gnu::noinline]] void EigenProducts(int items, const T* input, T* output, const float* matrix) {
    using Item = Eigen::Matrix<T, kPoints, kComponents, Eigen::RowMajor>;
    using Square = Eigen::Matrix<float, kPoints, kPoints, Eigen::RowMajor>;
    const Eigen::Matrix<T, kPoints, kPoints> factors =
        Eigen::Map<const Square>(matrix).template cast<T>();
    for (std::ptrdiff_t k = 0; k < items; ++k) {
        constexpr std::ptrdiff_t kSize = kPoints * kComponents;
        Eigen::Map<Item>(output + k * kSize).noalias() =
            factors * Eigen::Map<const Item>(input + k * kSize);
    }
}

// Two rows: beside the plain loops and beside a copy of the arrays.
template <class T>
std::vector<Row> Extrapolate(const Settings& settings, const std::string& name,
                             void (*extrapolate)(int, int, int, int, const T*, T*, const float*),
                             double wantedOfCopy) {
    const int items = std::max(1, settings.nNodes / kPoints);
    const auto input = RandomValues<T>(static_cast<std::size_t>(items) * kPoints * kComponents);
    const auto matrix = RandomValues<float>(kPoints * kPoints);
    std::vector<T> expected(input.size());
    std::vector<T> output(input.size());
    PlainLoops(items, input.data(), expected.data(), matrix.data());
    const auto check = [&] {
        Require(std::memcmp(output.data(), expected.data(), output.size() * sizeof(T)) == 0,
                "what was extrapolated differs from the plain loops");
    };
    const Row row = Measure(
        settings, name, 0.25,
        {{.name = "ours",
          .run =
              [&] {
                  extrapolate(kPoints, kPoints, kComponents, items, input.data(), output.data(),
                              matrix.data());
              },
          .check = check},
         {.name = "plain loops",
          .run = [&] { PlainLoops(items, input.data(), output.data(), matrix.data()); },
          .check = check},
         {.name = "copy of the arrays",
          .run = [&] { std::memcpy(output.data(), input.data(), input.size() * sizeof(T)); }},
         {.name = "Eigen",
          .run = [&] { EigenProducts(items, input.data(), output.data(), matrix.data()); },
          .check =
              [&] {
                  for (std::size_t i = 0; i < output.size(); ++i) {
                      Require(std::abs(output[i] - expected[i]) <= T(1e-4) * std::abs(expected[i]),
                              "what Eigen computed is far from the plain loops");
                  }
              }}});
    const Peer& copy = row.peers.front();
    return {row, {name + "-copy", row.unit, row.ours, copy.name, copy.figure, wantedOfCopy, {}}};
}

std::vector<Row> ExtrapolateBoth(const Settings& settings) {
    std::vector<Row> rows = Extrapolate<double>(
        settings, "extrapolate-double", &ORQSrvExtrapolation::ExtrapolateDoublePrecision, 1 / 0.6);
    std::ranges::move(Extrapolate<float>(settings, "extrapolate-single",
                                         &ORQSrvExtrapolation::ExtrapolateSinglePrecision, 1 / 0.4),
                      std::back_inserter(rows));
    return rows;
}

// --- Labels --------------------------------------------------------------------------------------

std::vector<Row> LabelLookup(const Settings& settings) {
    const ORQSrvVariableStruct* const table = &ORQSrvVariableMap::GetEntry(0);
    std::vector<ORQString> labels;
    for (int i = 0; table[i].label != nullptr; ++i) {
        labels.emplace_back(table[i].label);
    }
    std::size_t found = 0;
    const auto check = [&] {
        Require(std::exchange(found, 0) == labels.size(), "a label was not found");
    };
    return {Measure(settings, "label-lookup", 1.5,
                    {{.name = "ours",
                      .run =
                          [&] {
                              for (const ORQString& label : labels) {
                                  found += ORQSrvFieldServices::GetFieldType(label) != "UNDEFINED";
                              }
                          },
                      .check = check},
                     {.name = "strcmp loop",
                      .run =
                          [&] {
                              for (const ORQString& label : labels) {
                                  const char* const text = label.UTF8().c_str();
                                  const ORQSrvVariableStruct* record = table;
                                  while (record->label != nullptr &&
                                         std::strcmp(record->label, text) != 0) {
                                      ++record;
                                  }
                                  found += record->label != nullptr;
                              }
                          },
                      .check = check}})};
}

// --- Distributions -------------------------------------------------------------------------------

// A database with rows of values.
class RowsDatabase {
  public:
    static RowsDatabase Create(const std::filesystem::path& path) {
        std::filesystem::remove_all(path);
        return RowsDatabase(ORQSimDatabase::Create(path.string()));
    }
    ORQSimPosition Root() const { return m_database.Focus(); }
    ORQSimContextID ContextID() const { return m_database.ContextID(); }
    ORQSimCollectionID NewCollection(int space) const {
        return Root()
            .CreateTypedCollection(ORQSimSchema::MapperCollection_other, space)
            .GetCollection();
    }
    ORQSimDistributionID NewDistribution(const std::vector<ORQSimCollectionID>& grid) const {
        return ORQSimContext(ContextID())
            .CreateDistribution(ORQSimGrid(grid), ORQSimRangeType(ORQSimScalarDouble),
                                ORQSimTypeID(ORQSimSchema::DistributionRecord));
    }

  private:
    explicit RowsDatabase(ORQSimDatabase database) : m_database(std::move(database)) {}
    ORQSimDatabase m_database;
};

void MoveAll(ORQSimTransfer& transfer, const std::vector<ORQSimCSet>& sets, double* values) {
    for (std::size_t dimension = 0; dimension < sets.size(); ++dimension) {
        transfer.SetDim(static_cast<int>(dimension), sets[dimension]);
    }
    transfer.SetBuffer(ORQSimbufMain, values, transfer.RequiredBufferSize());
}

std::vector<Row> CopyDistribution(const Settings& settings) {
    BulkData<double> bulk(settings,
                          RandomValues<double>(static_cast<std::size_t>(settings.nNodes) * 3));
    struct Grid {
        Grid(const RowsDatabase& database, int nRows)
            : rows(database.NewCollection(nRows)),
              columns(database.NewCollection(3)),
              distribution(database.NewDistribution({rows, columns})) {}
        ORQSimCollectionID rows;
        ORQSimCollectionID columns;
        ORQSimDistributionID distribution;
    };
    const RowsDatabase source = RowsDatabase::Create(settings.directory / "source.orq");
    std::optional<Grid> from;
    {
        ORQSimTransaction transaction(source.ContextID());
        from.emplace(source, settings.nNodes);
        ORQSimTransfer write{ORQSimDistribution(from->distribution)};
        write.SetWrite().SetMakeNewDrawer();
        MoveAll(write, {ORQSimCSet(from->rows), ORQSimCSet(from->columns)}, bulk.values.data());
        write.ExecWrite();
        transaction.Commit();
    }
    const std::filesystem::path original = settings.directory / "original.bin";
    PlainFile(original, PlainFile::Mode::CreateEmpty).Append(bulk.Bytes());
    std::optional<RowsDatabase> target;
    std::optional<Grid> to;
    std::unique_ptr<PlainFile> plain;
    ORQSimArray<ORQSimCSetID> all(2);
    return {Measure(
        settings, "copy-distribution", 1.3,
        {bulk.Writing(
             "ours",
             [&] {
                 target = RowsDatabase::Create(settings.directory / "target.orq");
                 ORQSimTransaction transaction(target->ContextID());
                 to.emplace(*target, settings.nNodes);
                 transaction.Commit();
             },
             [&] {
                 ORQSimTransaction transaction(target->ContextID());
                 ORQSrvCopyDistribution(from->distribution, to->distribution, all, all,
                                        ORQSrvDistributionTransform());
                 transaction.Commit();
             },
             [&] {
                 bulk.ClearTarget();
                 ORQSimTransfer read{ORQSimDistribution(to->distribution)};
                 read.SetRead();
                 MoveAll(read, {ORQSimCSet(to->rows), ORQSimCSet(to->columns)}, bulk.target.data());
                 read.ExecRead();
                 bulk.CheckTarget();
                 target.reset();
                 std::filesystem::remove_all(settings.directory / "target.orq");
             }),
         bulk.Writing(
             "copy of a file+fsync",
             [&] { plain = std::make_unique<PlainFile>(bulk.plain, PlainFile::Mode::CreateEmpty); },
             [&] {
                 bulk.CopyFrom(MappedFile(original));
                 plain->Append(std::as_bytes(std::span(bulk.target)));
                 plain->SyncAll();
             },
             [&] { bulk.CheckPlain(); })})};
}

// --- Material tables -----------------------------------------------------------------------------

constexpr int kParts = 100;
constexpr int kSlot = ORQSimSchema::Material_dependents;
constexpr int kRowsPerChunk = 16384;

// The same distribution as one of a material table, moved without the service.
class PlainRows {
  public:
    PlainRows(const RowsDatabase& database, const ORQSimCollectionID& rows, int nColumns)
        : m_nColumns(nColumns),
          m_columns(database.NewCollection(nColumns)),
          m_distribution(database.NewDistribution({rows, m_columns})) {}

    void Append(const ORQSimCSetID& rows, double* values) {
        ORQSimTransfer write{ORQSimDistribution(m_distribution)};
        write.SetWrite();
        if (m_drawer.IsNull()) {
            ORQSimArray<int> chunks(2);
            chunks.Get(0) = kRowsPerChunk;
            chunks.Get(1) = m_nColumns;
            write.SetMakeNewDrawerChunked(chunks).SetExtendableDim(0);
        } else {
            write.SetDrawer(m_drawer).SetDimExtension(rows);
        }
        MoveAll(write, {rows, ORQSimCSet(m_columns)}, values);
        write.ExecWrite();
        m_drawer = write.DrawerID();
    }
    void Read(const ORQSimCSet& rows, double* values) const {
        ORQSimTransfer read{ORQSimDistribution(m_distribution)};
        read.SetRead();
        MoveAll(read, {rows, ORQSimCSet(m_columns)}, values);
        read.ExecRead();
    }

  private:
    int m_nColumns;
    ORQSimCollectionID m_columns;
    ORQSimDistributionID m_distribution;
    ORQSimDrawerID m_drawer;
};

// Rows of two values and a temperature, in parts; then all of them read.
std::vector<Row> MaterialTable(const Settings& settings) {
    const int part = std::max(1, settings.nNodes / (8 * kParts));
    const int nRows = part * kParts;
    std::vector<double> values = RandomValues<double>(static_cast<std::size_t>(nRows) * 2);
    std::vector<double> temperatures = RandomValues<double>(static_cast<std::size_t>(nRows));
    std::vector<double> read;
    const int types[] = {kSlot, -1};
    const int members[] = {0};
    const int lengths[] = {2};
    const ORQSrvFsmMaterialTable table(types, members, lengths, true, kSlot, 1, kSlot, 2);
    std::optional<RowsDatabase> database;
    const auto prepare = [&] {
        database.reset();
        database = RowsDatabase::Create(settings.directory / "material.orq");
    };
    double** data = nullptr;
    return {Measure(
        settings, "material-table", 1.5,
        {{.name = "ours",
          .prepare = prepare,
          .run =
              [&] {
                  ORQSimTransaction transaction(database->ContextID());
                  const ORQSimPosition owner = database->Root();
                  const ORQSimCollectionID rows = database->NewCollection(0);
                  const ORQSimCollectionID components = database->NewCollection(0);
                  for (int i = 0; i < kParts; ++i) {
                      const double* arrays[] = {&values[static_cast<std::size_t>(2 * i * part)],
                                                &temperatures[static_cast<std::size_t>(i * part)]};
                      if (i == 0) {
                          table.Save(transaction, owner, rows, components, {}, arrays, part, true,
                                     0, {});
                      } else {
                          table.Append(transaction, owner, rows, components, {}, arrays, part, true,
                                       0);
                      }
                  }
                  transaction.Commit();
                  int n = 0;
                  int columns = 0;
                  bool hasTemperatures = false;
                  int variables = 0;
                  table.FillPointer(owner, data, n, columns, hasTemperatures, variables);
                  Require(n == nRows && hasTemperatures, "the table has another shape");
              },
          .check =
              [&] {
                  Require(std::equal(values.begin(), values.end(), data[0]) &&
                              std::equal(temperatures.begin(), temperatures.end(), data[1]),
                          "what was read is not what was written");
                  for (int i = 0; i < 3; ++i) {
                      mem_Free(data[i]);
                  }
                  mem_Free(data);
              }},
         {.name = "plain transfers",
          .prepare = prepare,
          .run =
              [&] {
                  ORQSimTransaction transaction(database->ContextID());
                  ORQSimCollection rows(database->NewCollection(0));
                  PlainRows plainValues(*database, rows.ID(), 2);
                  PlainRows plainTemperatures(*database, rows.ID(), 1);
                  for (int i = 0; i < kParts; ++i) {
                      rows.ExtendSpace((i + 1) * part);
                      const ORQSimCSetID added = rows.CreateCSetStrided(i * part, part, 1, 1);
                      plainValues.Append(added, &values[static_cast<std::size_t>(2 * i * part)]);
                      plainTemperatures.Append(added,
                                               &temperatures[static_cast<std::size_t>(i * part)]);
                  }
                  transaction.Commit();
                  read = std::vector<double>(values.size() + temperatures.size());
                  plainValues.Read(ORQSimCSet(rows.ID()), read.data());
                  plainTemperatures.Read(ORQSimCSet(rows.ID()), read.data() + values.size());
              },
          .check =
              [&] {
                  Require(std::equal(values.begin(), values.end(), read.begin()) &&
                              std::equal(temperatures.begin(), temperatures.end(),
                                         read.begin() + std::ssize(values)),
                          "what was read is not what was written");
              }}})};
}

}  // namespace

std::vector<Workload> FieldWorkloads() {
    return {{"extrapolate", ExtrapolateBoth},
            {"label-lookup", LabelLookup},
            {"copy-distribution", CopyDistribution},
            {"material-table", MaterialTable}};
}

}  // namespace storage_benchmark
