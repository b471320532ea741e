#include <algorithm>
#include <memory>
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

// The rows of a condition with an int, a double and a string.
class ConditionRows {
  public:
    explicit ConditionRows(Sqlite& peer) : m_peer(peer) {}

    void Insert(int number) {
        const int condition = 2 + 4 * number;
        const double time = TimeOf(number);
        m_begin.Run();
        m_object.Run(condition, ORQSimSchema::Condition, ORQSimCategoryRecord);
        m_field.Run(condition, 2, 1, 7);
        m_field.Run(condition, 0, 4, 3);
        m_field.Run(condition, 1, 4, 3);
        Link(1, ORQSimSchema::Task_conditions, number, condition, ORQSimSchema::Condition);
        Argument(condition, 0, ORQSimSchema::Condition_intArgument, 1, number);
        Argument(condition, 1, ORQSimSchema::Condition_doubleArgument, 2, &time);
        Argument(condition, 2, ORQSimSchema::Condition_stringArgument, 3, std::string_view(kText));
        m_commit.Run();
    }

  private:
    template <class Value>
    void Argument(int condition, int place, int type, int kind, const Value& value) {
        const int argument = condition + 1 + place;
        m_object.Run(argument, type, ORQSimCategoryRecord);
        m_field.Run(argument, 0, kind, value);
        Link(condition, ORQSimSchema::Condition_arguments, place, argument, type);
    }
    void Link(int from, int slot, int place, int to, int type) {
        m_link.Run(from, slot, place, to, ORQSimCategoryRecord, type, 0);
    }

    Sqlite& m_peer;
    Statement m_begin{m_peer, "BEGIN IMMEDIATE"};
    Statement m_commit{m_peer, "COMMIT"};
    Statement m_object{m_peer, "INSERT INTO object VALUES(?,?,?)"};
    Statement m_field{m_peer, "INSERT INTO field VALUES(?,?,?,?)"};
    Statement m_link{m_peer, "INSERT INTO vector_entry VALUES(?,?,?,?,?,?,?)"};
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
                      Statement count(*peer, "SELECT count(*) FROM field");
                      count.Ask([&] { Require(count.Int(0) == 6 * n, "rows are missing"); });
                  }}})};
    omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    return rows;
}

}  // namespace

std::vector<Workload> DiagnosticsWorkloads() {
    return {{"conditions", Conditions}};
}

}  // namespace storage_benchmark
