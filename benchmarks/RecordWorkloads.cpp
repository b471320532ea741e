#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <numeric>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "AllocationPeak.h"
#include "Harness.h"
#include "ORQSimDataRecord.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "PlainFile.h"
#include "SqlitePeer.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

// Any slots would do.
constexpr int kNamedLinks = ORQSimSchema::Focus_model;
constexpr int kChild = ORQSimSchema::Model_mesh;

ORQSimDatabase CreateEmpty(const Settings& settings) {
    const std::filesystem::path path = settings.directory / "records.orq";
    std::filesystem::remove_all(path);
    return ORQSimDatabase::Create(path.string());
}

// What a record holds: four ints, a double and a text of 20 bytes. Names go in the order of records.
struct Content {
    std::array<int, 4> numbers;
    double value;
    std::array<char, 20> text;

    static Content Of(int record) {
        Content content{{record, record % 7, -record, 4}, record * 0.5, {}};
        fmt::format_to_n(content.text.data(), content.text.size(), "text {:<15}", record);
        return content;
    }
    static std::string NameOf(int record) { return fmt::format("Record-{:06}", record); }
    std::string_view Text() const { return {text.data(), text.size()}; }
    double Sum() const {
        return value + text[5] + std::accumulate(numbers.begin(), numbers.end(), 0.0);
    }
};

class OurRecords {
  public:
    explicit OurRecords(const Settings& settings) : m_settings(settings) {}

    void Create() { m_database = CreateEmpty(m_settings); }
    void Open() {
        m_database = ORQSimDatabase::Open((m_settings.directory / "records.orq").string(),
                                          ORQSimDatabase::Mode::ReadWrite);
    }
    void Close() { m_database.Close(); }
    void Write(int first, int count) {
        ORQSimTransaction transaction(m_database.ContextID());
        const ORQSimPosition focus = m_database.Focus();
        const ORQSimMap links = focus.GetMap(kNamedLinks);
        for (int i = first; i < first + count; ++i) {
            const Content content = Content::Of(i);
            const ORQSimDataRecord record = focus.CreateDataRecord(ORQSimSchema::Model);
            for (int field = 0; field < 4; ++field) {
                record.SetInt(field, content.numbers[static_cast<std::size_t>(field)]);
            }
            record.SetDouble(4, content.value);
            record.SetString(5, ORQString(content.Text()));
            links.Insert(ORQString(Content::NameOf(i)), record.Pos());
        }
        transaction.Commit();
    }
    double Read(std::span<const std::string> names) const {
        const ORQSimMap links = m_database.Focus().GetMap(kNamedLinks);
        double sum = 0;
        for (const std::string& name : names) {
            sum += SumOf(links.Find(ORQString(name)).DataRecord());
        }
        return sum;
    }
    double Scan() const {
        double sum = 0;
        for (auto link = m_database.Focus().GetMap(kNamedLinks).Begin(); link.NotDone(); ++link) {
            sum += SumOf(link.Value().DataRecord());
        }
        return sum;
    }

  private:
    static double SumOf(const ORQSimDataRecord& record) {
        double sum = record.GetDouble(4);
        for (int field = 0; field < 4; ++field) {
            sum += record.GetInt(field);
        }
        return sum + record.ReturnString(5).UTF8()[5];
    }

    const Settings& m_settings;
    ORQSimDatabase m_database;
};

// The usual layout: one row a record, and one for each name.
class SqliteRecords {
  public:
    explicit SqliteRecords(const Settings& settings)
        : m_path(settings.directory / "records.sqlite") {}

    void Create() {
        Close();
        std::filesystem::remove(m_path);
        Open();
        m_database->Execute(
            "CREATE TABLE record(id INTEGER PRIMARY KEY, type INTEGER, a INTEGER, b INTEGER, "
            "c INTEGER, d INTEGER, value REAL, text TEXT);"
            "CREATE TABLE link(owner INTEGER, name TEXT, target INTEGER, "
            "PRIMARY KEY(owner, name)) WITHOUT ROWID");
    }
    void Open() {
        m_database = std::make_unique<Sqlite>(m_path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
        m_database->Execute("PRAGMA journal_mode = DELETE; PRAGMA synchronous = FULL");
    }
    void Close() { m_database.reset(); }
    void Write(int first, int count) {
        m_database->Execute("BEGIN IMMEDIATE");
        {
            Statement record(*m_database, "INSERT INTO record VALUES(?,?,?,?,?,?,?,?)");
            Statement link(*m_database, "INSERT INTO link VALUES(1,?,?)");
            for (int i = first; i < first + count; ++i) {
                const Content content = Content::Of(i);
                record.Run(i + 2, ORQSimSchema::Model, content.numbers[0], content.numbers[1],
                           content.numbers[2], content.numbers[3], content.value, content.Text());
                link.Run(std::string_view(Content::NameOf(i)), i + 2);
            }
        }
        m_database->Execute("COMMIT");
    }
    double Read(std::span<const std::string> names) {
        m_database->Execute("BEGIN");
        Statement query(*m_database,
                        "SELECT a, b, c, d, value, text FROM link JOIN record ON id = target "
                        "WHERE owner = 1 AND name = ?");
        double sum = 0;
        for (const std::string& name : names) {
            query.Ask([&] { sum += SumOf(query); }, std::string_view(name));
        }
        m_database->Execute("COMMIT");
        return sum;
    }
    // All records with the names in their order, or the records alone.
    double Scan(bool withNames) {
        Statement query(*m_database,
                        withNames ? "SELECT a, b, c, d, value, text, name FROM link JOIN record ON "
                                    "id = target WHERE owner = 1 ORDER BY name"
                                  : "SELECT a, b, c, d, value, text FROM record ORDER BY id");
        double sum = 0;
        while (query.Step()) {
            sum += SumOf(query);
        }
        return sum;
    }

  private:
    static double SumOf(const Statement& row) {
        double sum = row.Double(4);
        for (int column = 0; column < 4; ++column) {
            sum += static_cast<double>(row.Int(column));
        }
        return sum + row.Text(5)[5];
    }

    std::filesystem::path m_path;
    std::unique_ptr<Sqlite> m_database;
};

double MebibytesIn(const std::filesystem::path& directory, std::string_view prefix) {
    double bytes = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory)) {
        const std::string path = entry.path().lexically_relative(directory).string();
        if (entry.is_regular_file() && path.starts_with(prefix)) {
            bytes += static_cast<double>(entry.file_size());
        }
    }
    return bytes / (1 << 20);
}

// A field changed in each of ten times as many records, one transaction.
Row MemoryOfChanges(const Settings& settings) {
    const std::filesystem::path path = settings.directory / "changes.orq";
    ORQSimDatabase database = ORQSimDatabase::Create(path.string());
    std::vector<ORQSimDataRecord> records;
    const auto setAll = [&](int value) {
        ORQSimTransaction transaction(database.ContextID());
        for (const ORQSimDataRecord& record : records) {
            record.SetInt(0, value);
        }
        transaction.Commit();
    };
    {
        ORQSimTransaction transaction(database.ContextID());
        for (int i = 0; i < 10 * settings.nRecords; ++i) {
            records.push_back(database.Focus().CreateDataRecord(ORQSimSchema::Model));
            records.back().SetString(1, ORQString(Content::Of(i).Text()));
        }
        transaction.Commit();
    }
    database.Close();
    database = ORQSimDatabase::Open(path.string(), ORQSimDatabase::Mode::ReadWrite);
    // The same objects, as the database is known by another number now.
    for (ORQSimDataRecord& record : records) {
        const ORQSimDynamicID id = record.Pos().ID();
        record = ORQSimDataRecord(ORQSimDynamicID(id.Category(), database.ContextID(), id.MinorID(),
                                                  id.TypeID(), id.Index()));
    }
    constexpr double kAllowed = 24;
    const double peak = PeakMebibytes([&] { setAll(7); });
    Require(records.back().GetInt(0) == 7, "a record is not as it was changed");
    database.Close();
    std::filesystem::remove_all(path);
    return {"records-memory", "MiB", {peak}, "allowed", {kAllowed}, 1.0, {}};
}

std::vector<Row> Records(const Settings& settings) {
    const int n = settings.nRecords;
    std::vector<std::string> names;
    std::vector<Content> flat;
    double expected = 0;
    for (int i = 0; i < n; ++i) {
        names.push_back(Content::NameOf(i));
        flat.push_back(Content::Of(i));
        expected += flat.back().Sum();
    }
    std::vector<int> picks(names.size());
    std::iota(picks.begin(), picks.end(), 0);
    std::ranges::shuffle(picks, std::mt19937_64(17));
    std::vector<std::string> shuffled;
    for (const int pick : picks) {
        shuffled.push_back(names[static_cast<std::size_t>(pick)]);
    }

    OurRecords ours(settings);
    SqliteRecords peer(settings);
    const std::filesystem::path file = settings.directory / "records.bin";
    double sum = 0;
    const auto clear = [&] { sum = 0; };
    const auto check = [&] { Require(sum == expected, "records are not what was written"); };
    std::vector<Row> rows;
    rows.push_back(Measure(
        settings, "records-write", 1.0,
        {{"ours", [&] { ours.Create(); }, [&] { ours.Write(0, n); }, [&] { ours.Close(); }},
         {"SQLite", [&] { peer.Create(); }, [&] { peer.Write(0, n); }, [&] { peer.Close(); }},
         {"flat file", [] {},
          [&] {
              PlainFile plain(file, PlainFile::Mode::CreateEmpty);
              plain.Append(std::as_bytes(std::span(flat)));
              plain.SyncAll();
          }}}));
    ours.Open();
    peer.Open();
    const MappedFile mapped(file);
    const auto contentOf = [&](int record) {
        Content content{};
        std::memcpy(&content,
                    mapped.Bytes().data() + sizeof content * static_cast<std::size_t>(record),
                    sizeof content);
        return content;
    };
    rows.push_back(Measure(settings, "records-read", 1.2,
                           {{"ours", clear, [&] { sum = ours.Read(shuffled); }, check},
                            {"SQLite", clear, [&] { sum = peer.Read(shuffled); }, check},
                            {"flat file by number", clear,
                             [&] {
                                 for (const int pick : picks) {
                                     sum += contentOf(pick).Sum();
                                 }
                             },
                             check}}));
    rows.push_back(
        Measure(settings, "records-scan", 1.5,
                {{"ours", clear, [&] { sum = ours.Scan(); }, check},
                 {"SQLite, names and records", clear, [&] { sum = peer.Scan(true); }, check},
                 {"SQLite, records alone", clear, [&] { sum = peer.Scan(false); }, check},
                 {"flat file", clear,
                  [&] {
                      for (int i = 0; i < n; ++i) {
                          sum += contentOf(i).Sum();
                      }
                  },
                  check}}));
    ours.Close();
    peer.Close();
    const auto mebibytes = [&](std::string_view name) {
        return Figure{MebibytesIn(settings.directory, name)};
    };
    rows.push_back({"records-size",
                    "MiB",
                    mebibytes("records.orq"),
                    "payload",
                    mebibytes("records.bin"),
                    2.5,
                    {{"SQLite", mebibytes("records.sqlite")}}});
    rows.push_back(MemoryOfChanges(settings));
    int nWritten = n;
    constexpr int kCommits = 20;
    const auto commit = [&](auto& to) {
        for (int i = 0; i < kCommits; ++i) {
            to.Write(nWritten + i, 1);
        }
    };
    const auto open = [&](auto& to) {
        to.Open();
        nWritten += kCommits;
    };
    rows.push_back(
        Measure(settings, "records-commit", 1.0,
                {{"ours", [&] { open(ours); }, [&] { commit(ours); }, [&] { ours.Close(); }},
                 {"SQLite, 20 transactions", [&] { open(peer); }, [&] { commit(peer); },
                  [&] { peer.Close(); }}}));
    return rows;
}

std::vector<Row> Follow(const Settings& settings) {
    const int n = settings.nRecords;
    std::vector<ORQSimPosition> objects;
    ORQSimDatabase database = CreateEmpty(settings);
    const std::unique_ptr<Sqlite> peer = LikeCatalogue(settings);
    {
        ORQSimTransaction transaction(database.ContextID());
        peer->Execute("BEGIN IMMEDIATE");
        Statement link(*peer, "INSERT INTO link VALUES(0,?,?,?,?,?,?,?)");
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
    Statement follow(
        *peer,
        "SELECT object, slot, key, target_object, target_category, target_type, "
        "target_index FROM link WHERE kind = 0 AND object = ? AND slot = ? AND key = ?");
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
