#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "Harness.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "SqlitePeer.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// Any slots would do.
constexpr int kNamedLinks = ORQSimSchema::Focus_model;
constexpr int kChild = ORQSimSchema::Model_mesh;

std::string NameOf(int record) {
    return "Record-" + std::to_string(record);
}

ORQSimDatabase CreateEmpty(const Settings& settings) {
    const std::filesystem::path path = settings.directory / "records.orq";
    std::filesystem::remove_all(path);
    return ORQSimDatabase::Create(path.string());
}

double ValueOf(int record) {
    return record * 0.5;
}

std::vector<Row> Records(const Settings& settings) {
    const int n = settings.nRecords;
    ORQSimDatabase database;
    std::unique_ptr<Sqlite> peer;
    return {Measure(
        settings, "records", 2.0,
        {{"ours", [&] { database = CreateEmpty(settings); },
          [&] {
              ORQSimTransaction transaction(database.ContextID());
              const ORQSimPosition focus = database.Focus();
              const ORQSimMap links = focus.GetMap(kNamedLinks);
              for (int i = 0; i < n; ++i) {
                  const ORQSimDataRecord record = focus.CreateDataRecord(ORQSimSchema::Model);
                  record.SetInt(0, i);
                  record.SetDouble(1, ValueOf(i));
                  links.Insert(ORQString(NameOf(i)), record.Pos());
              }
              transaction.Commit();
          },
          [&] {
              const ORQSimMap links = database.Focus().GetMap(kNamedLinks);
              for (int i = 0; i < n; ++i) {
                  const ORQSimDataRecord record = links.Find(ORQString(NameOf(i))).DataRecord();
                  Require(record.GetInt(0) == i && record.GetDouble(1) == ValueOf(i),
                          "a record is not what was written");
              }
              database.Close();
          }},
         {"same rows into SQLite", [&] { peer = LikeCatalogue(settings); },
          [&] {
              peer->Execute("BEGIN IMMEDIATE");
              Statement object(*peer, "INSERT INTO object VALUES(?,?,?)");
              Statement field(*peer, "INSERT INTO field VALUES(?,?,?,?)");
              Statement link(*peer, "INSERT INTO map_entry VALUES(?,?,?,?,?,?,?)");
              for (int i = 0; i < n; ++i) {
                  const int id = i + 2;
                  const double value = ValueOf(i);
                  object.Run(id, ORQSimSchema::Model, ORQSimCategoryRecord);
                  field.Run(id, 0, 1, i);
                  field.Run(id, 1, 2, &value);
                  link.Run(1, kNamedLinks, std::string_view(NameOf(i)), id, ORQSimCategoryRecord,
                           ORQSimSchema::Model, 0);
              }
              peer->Execute("COMMIT");
          },
          [&] {
              Statement count(*peer, "SELECT count(*) FROM field");
              count.Ask([&] { Require(count.Int(0) == 2 * n, "rows are missing in SQLite"); });
          }}})};
}

std::vector<Row> Follow(const Settings& settings) {
    const int n = settings.nRecords;
    std::vector<ORQSimPosition> objects;
    ORQSimDatabase database = CreateEmpty(settings);
    const std::unique_ptr<Sqlite> peer = LikeCatalogue(settings);
    {
        ORQSimTransaction transaction(database.ContextID());
        peer->Execute("BEGIN IMMEDIATE");
        Statement link(*peer, "INSERT INTO child VALUES(?,?,?,?,?,?,?)");
        for (int i = 0; i < n; ++i) {
            const ORQSimPosition object =
                database.Focus().CreateDataRecord(ORQSimSchema::Model).Pos();
            objects.push_back(object);
            const ORQSimPosition& target = objects[objects.size() / 2];
            object.SetPosition(kChild, target);
            link.Run(object.ID().MinorID(), kChild, 0, target.ID().MinorID(), ORQSimCategoryRecord,
                     ORQSimSchema::Model, 0);
        }
        peer->Execute("COMMIT");
        transaction.Commit();
    }
    std::int64_t expected = 0;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        expected += objects[(i + 1) / 2].ID().MinorID();
    }
    std::ranges::shuffle(objects, std::mt19937_64(17));

    std::int64_t sum = 0;
    const auto clear = [&] { sum = 0; };
    const auto check = [&] { Require(sum == expected, "links lead elsewhere"); };
    peer->Execute("BEGIN");
    Statement follow(*peer, "SELECT * FROM child WHERE object = ? AND slot = ? AND member = ?");
    return {Measure(settings, "follow", 2.0,
                    {{"ours", clear,
                      [&] {
                          for (const ORQSimPosition& object : objects) {
                              sum += object.GetPosition(kChild).ID().MinorID();
                          }
                      },
                      check},
                     {"SQLite point query", clear,
                      [&] {
                          for (const ORQSimPosition& object : objects) {
                              follow.Ask([&] { sum += follow.Int(3); }, object.ID().MinorID(),
                                         kChild, 0);
                          }
                      },
                      check}})};
}

}  // namespace

std::vector<Workload> RecordWorkloads() {
    return {{"records", Records}, {"follow", Follow}};
}

}  // namespace storage_benchmark
