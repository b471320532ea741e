#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "Harness.h"
#include "ORQObjDiagnostics.h"
#include "ORQObjModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQSrvDiagnosticsHandler.h"
#include "SqlitePeer.h"
#include "Workloads.h"

namespace storage_benchmark {

namespace {

constexpr const char* kStep = "Step-1";
constexpr const char* kText = "the increment is cut back";

double TimeOf(int condition) {
    return condition * 0.25;
}

ORQObjDocument CreateWithStep(const Settings& settings) {
    const std::filesystem::path path = settings.directory / "diagnostics.orq";
    std::filesystem::remove_all(path);
    const ORQSimDatabase database = ORQSimDatabase::Create(path.string());
    ORQSimTransaction transaction(database.ContextID());
    const ORQObjModelBuilder builder(database);
    ORQObjStepBuilder(builder.Document()).AddStep(kStep, ORQSimSchema::Step_General);
    transaction.Commit();
    return builder.Document();
}

void Check(const ORQObjDocument& document, int n) {
    const ORQSimVector conditions =
        ORQObjStep(ORQObjModel(document.GetModel()).GetStep(kStep)).GetConditions();
    Require(conditions.Size() == n, "conditions are missing");
    for (int i = 0; i < n; ++i) {
        const auto arguments = ORQObjCondition(conditions[i]).ReadArguments();
        Require(arguments.size() == 3 && arguments[0] == ORQObjConditionArgument(i) &&
                    arguments[1] == ORQObjConditionArgument(TimeOf(i)),
                "a condition is not what was reported");
    }
}

// Fields of a record as the catalogue keeps them; see docs/storage-format.md.
class PackedFields {
  public:
    // REQUIRES: none is negative.
    PackedFields& Add(int number, int kind, int value) {
        AddCount(number * 8 + kind);
        AddCount(2 * value);
        return *this;
    }
    PackedFields& Add(int number, int kind, double value) {
        AddCount(number * 8 + kind);
        AddCount(1);
        m_bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
        return *this;
    }
    PackedFields& Add(int number, int kind, std::string_view text) {
        AddCount(number * 8 + kind);
        AddCount(static_cast<int>(text.size()));
        m_bytes += text;
        return *this;
    }
    std::span<const std::byte> Bytes() const { return std::as_bytes(std::span(m_bytes)); }

  private:
    void AddCount(int count) {
        for (; count >= 128; count /= 128) {
            m_bytes += static_cast<char>(count % 128 + 128);
        }
        m_bytes += static_cast<char>(count);
    }

    std::string m_bytes = std::string(1, 1);
};

// The rows of a condition with an int, a double and a string.
class ConditionRows {
  public:
    explicit ConditionRows(Sqlite& peer) : m_peer(peer) {}

    void Insert(int number) {
        const int condition = 2 + 4 * number;
        const double time = TimeOf(number);
        m_begin.Run();
        Object(condition, ORQSimSchema::Condition,
               PackedFields().Add(0, 4, 3).Add(1, 4, 3).Add(2, 1, 7));
        Link(1, ORQSimSchema::Task_conditions, number, condition, ORQSimSchema::Condition);
        Argument(condition, 0, ORQSimSchema::Condition_intArgument,
                 PackedFields().Add(0, 1, number));
        Argument(condition, 1, ORQSimSchema::Condition_doubleArgument,
                 PackedFields().Add(0, 2, time));
        Argument(condition, 2, ORQSimSchema::Condition_stringArgument,
                 PackedFields().Add(0, 3, std::string_view(kText)));
        m_commit.Run();
    }

  private:
    void Argument(int condition, int place, int type, const PackedFields& fields) {
        const int argument = condition + 1 + place;
        Object(argument, type, fields);
        Link(condition, ORQSimSchema::Condition_arguments, place, argument, type);
    }
    void Object(int object, int type, const PackedFields& fields) {
        m_object.Run(object, type, ORQSimCategoryRecord, fields.Bytes());
    }
    void Link(int from, int slot, int place, int to, int type) {
        m_link.Run(from, slot, place, to, ORQSimCategoryRecord, type, 0);
    }

    Sqlite& m_peer;
    Statement m_begin{m_peer, "BEGIN IMMEDIATE"};
    Statement m_commit{m_peer, "COMMIT"};
    Statement m_object{m_peer, "INSERT INTO object VALUES(?,?,?,?)"};
    Statement m_link{m_peer, "INSERT INTO link VALUES(1,?,?,?,?,?,?,?)"};
};

std::vector<Row> Conditions(const Settings& settings) {
    const int n = std::max(settings.nRecords / 10, 1);
    auto& handler = omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
    ORQObjDocument document;
    std::unique_ptr<Sqlite> peer;
    std::vector<Row> rows = {
        Measure(settings, "conditions", 1.5,
                {{"ours",
                  [&] {
                      document = CreateWithStep(settings);
                      handler.SetDocument(document);
                      handler.BeginStep(kStep);
                  },
                  [&] {
                      std::string text = kText;
                      char* strings[] = {text.data()};
                      for (int i = 0; i < n; ++i) {
                          double time = TimeOf(i);
                          handler.AddWarningError(7, false, &i, 1, &time, 1, strings, 1, nullptr, 0,
                                                  nullptr, 0);
                      }
                  },
                  [&] {
                      Check(document, n);
                      ORQSimDatabase(document.Database()).Close();
                  }},
                 {"SQLite, a transaction each", [&] { peer = LikeCatalogue(settings); },
                  [&] {
                      ConditionRows conditions(*peer);
                      for (int i = 0; i < n; ++i) {
                          conditions.Insert(i);
                      }
                  },
                  [&] {
                      Statement count(*peer, "SELECT count(*) FROM object");
                      count.Ask([&] { Require(count.Int(0) == 4 * n, "rows are missing"); });
                  }}})};
    omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    return rows;
}

}  // namespace

std::vector<Workload> DiagnosticsWorkloads() {
    return {{"conditions", Conditions}};
}

}  // namespace storage_benchmark
