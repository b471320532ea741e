#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "BulkData.h"
#include "ChildProcess.h"
#include "Harness.h"
#include "ORQExcElementValues.h"
#include "ORQExcModel.h"
#include "ORQExcPointRules.h"
#include "ORQExcResults.h"
#include "ORQObjMesh.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimCollection.h"
#include "ORQSimDatabase.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "PlainFile.h"
#include "StructuredMesh.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

constexpr int kPointsEach = 8;
constexpr std::size_t kStresses = 6;
constexpr std::size_t kValuesOfElement = kPointsEach * kStresses;
constexpr int kElementsPerPiece = 100000;

std::vector<double> StressValues(int nElements) {
    std::vector<double> values(static_cast<std::size_t>(nElements) * kValuesOfElement);
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<double>(i % 65521) / 64 - 500;
    }
    return values;
}

// A model with a stress of six components at eight points of its elements.
class StressDatabase {
  public:
    // Elements without nodes; what was there is removed.
    static StressDatabase Create(const std::filesystem::path& path, int nElements) {
        std::filesystem::remove_all(path);
        StressDatabase made(ORQSimDatabase::Create(path.string()));
        ORQSimTransaction transaction(made.m_database.ContextID());
        ORQObjModelBuilder(made.m_database).AddElements(nElements);
        made.AddField();
        transaction.Commit();
        return made;
    }
    // A mesh that was imported.
    static StressDatabase Open(const std::filesystem::path& path) {
        StressDatabase made(ORQSimDatabase::Open(path.string(), ORQSimDatabase::Mode::ReadWrite));
        ORQSimTransaction transaction(made.m_database.ContextID());
        made.AddField();
        transaction.Commit();
        return made;
    }

    // Adds a time with the values of all elements, committed.
    void Write(double time, std::span<const double> values) {
        ORQSimTransaction transaction(m_database.ContextID());
        const ORQSimCSetID added =
            ORQObjStepBuilder(Document()).AddTimes(m_step.Position(), {&time, 1});
        ForEachPiece(values.size(), [&](const ORQObjFieldView& view, std::size_t first) {
            m_field.WriteView(added, view, values.data() + first);
        });
        transaction.Commit();
    }
    void Read(int time, std::span<double> values) const {
        ForEachPiece(values.size(), [&](const ORQObjFieldView& view, std::size_t first) {
            m_field.ReadView(time, view, values.data() + first);
        });
    }
    // One element at all its points.
    void ReadElement(int time, int element, double* values) const {
        m_field.ReadView(time, ViewOf(element, 1), values);
    }
    ORQObjDocument Document() const { return ORQObjDocument(m_database); }

  private:
    explicit StressDatabase(ORQSimDatabase database) : m_database(std::move(database)) {}

    void AddField() {
        const ORQObjStepBuilder builder(Document());
        m_step = builder.AddStep("Load", ORQSimSchema::Step_General);
        m_field = builder.AddFieldResult(
            m_step.Position(),
            {"S",
             builder.StandardFieldType("S"),
             ORQSimSchema::Field_IntegrationPoint,
             ORQObjMesh(Document().GetMesh()).GetElementCollection(),
             {{1, "S11"}, {14, "S22"}, {23, "S33"}, {5, "S12"}, {18, "S23"}, {10, "S13"}}});
    }
    ORQObjFieldView ViewOf(int first, int count) const {
        return {ORQSimCollection(m_field.GetMemberCollection())
                    .CreateVolatileCSetStrided(first, count, 1, 1),
                {},
                {},
                {0, kPointsEach - 1}};
    }
    template <class Act>
    void ForEachPiece(std::size_t nValues, const Act& act) const {
        const int nElements = static_cast<int>(nValues / kValuesOfElement);
        for (int first = 0; first < nElements; first += kElementsPerPiece) {
            const int count = std::min(kElementsPerPiece, nElements - first);
            act(ViewOf(first, count), static_cast<std::size_t>(first) * kValuesOfElement);
        }
    }

    ORQSimDatabase m_database;
    ORQObjStep m_step;
    ORQObjMeshedField m_field;
};

int NumElements(const Settings& settings) {
    return settings.nSide * settings.nSide * settings.nSide;
}

std::vector<Row> WriteAndRead(const Settings& settings) {
    const int nElements = NumElements(settings);
    BulkData<double> bulk(settings, StressValues(nElements));
    const std::filesystem::path path = settings.directory / "points.orq";
    std::optional<StressDatabase> database;
    std::unique_ptr<PlainFile> plain;
    std::vector<Row> rows;
    rows.push_back(Measure(
        settings, "points-write", 1.0,
        {bulk.Writing(
             "ours",
             [&] {
                 database.reset();
                 database = StressDatabase::Create(path, nElements);
             },
             [&] { database->Write(0, bulk.values); },
             [&] {
                 bulk.ClearTarget();
                 database->Read(0, bulk.target);
                 bulk.CheckTarget();
             }),
         bulk.Writing(
             "write+fsync",
             [&] { plain = std::make_unique<PlainFile>(bulk.plain, PlainFile::Mode::CreateEmpty); },
             [&] {
                 plain->Append(bulk.Bytes());
                 plain->SyncAll();
             },
             [&] { bulk.CheckPlain(); })}));
    const MappedFile mapped(bulk.plain);
    bulk.CopyFrom(mapped);
    rows.push_back(Measure(settings, "points-read-again", 1.15,
                           {bulk.Reading("ours", [&] { database->Read(0, bulk.target); }),
                            bulk.Reading("touched map", [&] { bulk.CopyFrom(mapped); })}));
    return rows;
}

// All components at all points of one element over 100 times.
std::vector<Row> History(const Settings& settings) {
    constexpr int kTimes = 100;
    const int nElements = std::max(1, NumElements(settings) / 300);
    const std::vector<double> values = StressValues(nElements);
    StressDatabase database = StressDatabase::Create(settings.directory / "points.orq", nElements);
    for (int time = 0; time < kTimes; ++time) {
        database.Write(time, values);
    }
    std::vector<double> history(kTimes * kValuesOfElement);
    const int element = nElements / 2;
    const double* const expected =
        values.data() + static_cast<std::size_t>(element) * kValuesOfElement;
    Row row = Measure(settings, "points-history", 0,
                      {{.name = "ours",
                        .run =
                            [&] {
                                for (std::size_t time = 0; time < kTimes; ++time) {
                                    database.ReadElement(static_cast<int>(time), element,
                                                         history.data() + time * kValuesOfElement);
                                }
                            },
                        .check =
                            [&] {
                                for (std::size_t i = 0; i < history.size(); ++i) {
                                    Require(history[i] == expected[i % kValuesOfElement],
                                            "the history is wrong");
                                }
                            }},
                       {.name = "none", .run = [] {}}});
    row.limitName = "5 ms";
    row.limit = {5};
    row.wantedRatio = 1;
    return {row};
}

// The same arithmetic without the model: extrapolation, and means at nodes.
void PlainAtNodes(const StructuredMesh& mesh, std::span<const double> values,
                  std::span<const float> matrix, std::vector<double>& sums,
                  std::vector<int>& counts) {
    sums.assign(static_cast<std::size_t>(mesh.nNodes) * kStresses, 0);
    counts.assign(static_cast<std::size_t>(mesh.nNodes), 0);
    for (std::size_t element = 0; element < static_cast<std::size_t>(mesh.nElements); ++element) {
        for (std::size_t node = 0; node < kPointsEach; ++node) {
            const auto at =
                static_cast<std::size_t>(mesh.connectivity[element * kPointsEach + node]);
            ++counts[at];
            for (std::size_t k = 0; k < kStresses; ++k) {
                double sum = 0;
                for (std::size_t point = 0; point < kPointsEach; ++point) {
                    sum += double{matrix[node * kPointsEach + point]} *
                           values[(element * kPointsEach + point) * kStresses + k];
                }
                sums[at * kStresses + k] += sum;
            }
        }
    }
    for (std::size_t i = 0; i < sums.size(); ++i) {
        sums[i] /= counts[i / kStresses];
    }
}

std::vector<Row> AtNodes(const Settings& settings) {
    const StructuredMesh mesh(settings.nSide);
    const std::filesystem::path file = settings.directory / "cube.e";
    const std::filesystem::path path = settings.directory / "imported.orq";
    WriteExodus(mesh, file);
    std::filesystem::remove_all(path);
    ChildProcess({ORQ_PROGRAM, "import", file.string(), "-o", path.string()}).Finish();
    const std::vector<double> values = StressValues(mesh.nElements);
    StressDatabase database = StressDatabase::Open(path);
    database.Write(0, values);

    const ORQExcModel model(database.Document());
    const ORQExcResults results(database.Document());
    const ORQExcElementValues within(model, results, results.Fields().front());
    const std::vector<float> matrix =
        ORQExcExtrapolationToNodes(*ORQExcFindShapeByName("HEX8"), kPointsEach);
    ORQExcElementValues::AtNodes ours;
    std::vector<double> sums;
    std::vector<int> counts;
    PlainAtNodes(mesh, values, matrix, sums, counts);
    const std::vector<double> expected = sums;
    return {Measure(settings, "points-at-nodes", 3.0,
                    {{.name = "ours",
                      .prepare = [&] { ours = {}; },
                      .run = [&] { ours = within.ReadNodes(0, model.Elements(), -1, -1); },
                      .check =
                          [&] {
                              Require(ours.values.size() == expected.size(), "a node has no value");
                              for (std::size_t i = 0; i < expected.size(); ++i) {
                                  Require(std::abs(ours.values[i] - expected[i]) < 1e-6,
                                          "a value at a node is wrong");
                              }
                          }},
                     {.name = "plain loops",
                      .run = [&] { PlainAtNodes(mesh, values, matrix, sums, counts); }}})};
}

}  // namespace

std::vector<Workload> PointWorkloads() {
    return {{"points", WriteAndRead}, {"points-history", History}, {"points-at-nodes", AtNodes}};
}

}  // namespace storage_benchmark
