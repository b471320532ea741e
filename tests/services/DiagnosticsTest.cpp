// Conditions and the status of a job: reported, kept, and read back as another process would.
#include <gmock/gmock.h>

#include <iterator>
#include <limits>

#include "NewDatabase.h"
#include "ORQObjDiagnostics.h"
#include "ORQObjModel.h"
#include "ORQObjModelBuilder.h"
#include "ORQObjStep.h"
#include "ORQObjStepBuilder.h"
#include "ORQSimLinks.h"
#include "ORQSrvDiagnosticsHandler.h"
#include "Vocabulary.h"

// Nothing of the handler's interface turns the trace on. An explicit instantiation may name private
// members.
bool& IsTracing(ORQSrvDiagnosticsHandler& handler);
template <bool ORQSrvDiagnosticsHandler::*kMember>
struct Tracing {
    friend bool& IsTracing(ORQSrvDiagnosticsHandler& handler) { return handler.*kMember; }
};
template struct Tracing<&ORQSrvDiagnosticsHandler::m_isTracing>;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Argument = ORQObjConditionArgument;

ORQSrvDiagnosticsHandler& Handler() {
    return omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
}

void Warn(int code) {
    Handler().AddWarningError(code, false, nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0, nullptr,
                              0);
}

class Diagnostics : public testing::Test {
  protected:
    Diagnostics() {
        InTransaction(m_document.Database(), [&] {
            ORQObjModelBuilder builder(m_document.Database());
            const ORQObjStepBuilder steps(m_document);
            steps.AddStep("Heizung \xC3\xBC", ORQSimSchema::Step_General);
            steps.AddStep("Cooling", ORQSimSchema::Step_General);
        });
        Handler().SetDocument(m_document);
    }
    ~Diagnostics() override {
        omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
        if (!m_document.IsClosed()) {
            EXPECT_THAT(m_document.Database().Verify(), IsEmpty());
        }
    }

    ORQSimVector Conditions(const char* step) const {
        return ORQObjStep(ORQObjModel(m_document.GetModel()).GetStep(step)).GetConditions();
    }

    Folder m_folder;
    const std::string m_path = m_folder / "model.orq";
    ORQObjDocument m_document{ORQSimDatabase::Create(m_path)};
};

}  // namespace

TEST_F(Diagnostics, ConditionsComeBackInAnotherHandleWithTheirArgumentsInOrder) {
    int ints[] = {7, std::numeric_limits<int>::min()};
    double doubles[] = {0.1, -std::numeric_limits<double>::infinity()};
    char text[] = "Knoten \xC3\xBC\xF0\x9D\x84\x9E";
    char malformed[] = "a\xFF\xC3z";
    char* strings[] = {text, malformed, nullptr};
    int sets[] = {1, 2, 3};
    Handler().BeginStep("Heizung \xC3\xBC");
    Handler().AddWarningError(12, true, ints, 2, doubles, 2, strings, 3, sets, 3, sets, 2);
    Handler().AddWarningError(13, false, ints, -1, doubles, 0, strings, -5, nullptr, -1, nullptr,
                              9);
    Handler().BeginStep("Cooling");
    Warn(14);

    const ORQObjDocument reader(ORQSimDatabase::Open(m_path, Mode::ReadOnly));
    const ORQSimVector steps = ORQObjModel(reader.GetModel()).GetStepSequence();
    const ORQSimVector heating = ORQObjStep(steps[0]).GetConditions();
    ASSERT_EQ(heating.Size(), 2);
    const ORQObjCondition error(heating[0]);
    EXPECT_EQ(error.GetCode(), 12);
    EXPECT_EQ(error.GetSeverity(), ORQObjSeverity::Error);
    EXPECT_EQ(error.Position().DataRecord().GetSymb(0), 3);
    // What other programs find: a condition with a record of its own type for each argument.
    EXPECT_TRUE(heating[0].IsA(ads_CoreFragmentTypeIndex(3, 0)));
    const ORQSimVector arguments = heating[0].GetVector(ads_CoreFragmentTypeIndex(3, 9));
    const Ints types = {5, 5, 4, 4, 8, 8, 8};
    ASSERT_EQ(arguments.Size(), std::ssize(types));
    for (int i = 0; i < arguments.Size(); ++i) {
        EXPECT_TRUE(
            arguments[i].IsA(ads_CoreFragmentTypeIndex(3, types[static_cast<std::size_t>(i)])))
            << i;
    }
    EXPECT_THAT(error.ReadArguments(),
                ElementsAre(Argument(7), Argument(ints[1]), Argument(0.1), Argument(doubles[1]),
                            Argument(ORQString(text)), Argument(ORQString("a\uFFFD\uFFFDz")),
                            Argument(ORQString())));
    const ORQObjCondition warning(heating[1]);
    EXPECT_EQ(warning.GetCode(), 13);
    EXPECT_EQ(warning.GetSeverity(), ORQObjSeverity::Warning);
    EXPECT_THAT(warning.ReadArguments(), IsEmpty());
    EXPECT_EQ(ORQObjStep(steps[1]).GetConditions().Size(), 1);
}

TEST_F(Diagnostics, WithoutAStepAReportIsUndoneAndTheNextOneWorks) {
    const std::int64_t before = m_document.Database().Generation();
    const auto refuses = [] {
        return Fails(Failure::Usage, {"null object", "Task_conditions"}, [] { Warn(1); });
    };
    EXPECT_TRUE(refuses());
    Handler().BeginStep("No such step");
    EXPECT_TRUE(refuses());
    Handler().BeginStep(nullptr);
    EXPECT_TRUE(refuses());
    Handler().BeginStep("Cooling");
    Handler().EndStep();
    EXPECT_TRUE(refuses());
    EXPECT_EQ(m_document.Database().Generation(), before);
    EXPECT_THAT(m_document.Database().Verify(), IsEmpty());

    Handler().BeginStep("Cooling");
    Warn(2);
    EXPECT_EQ(Conditions("Cooling").Size(), 1);
    EXPECT_EQ(m_document.Database().Generation(), before + 1);
}

TEST_F(Diagnostics, AReportJoinsTheHostsTransaction) {
    Handler().BeginStep("Cooling");
    {
        const ORQSimTransaction undone(m_document.ContextID());
        Warn(1);
    }
    EXPECT_EQ(Conditions("Cooling").Size(), 0);
}

TEST_F(Diagnostics, AReportUnderAStepThatWasUndoneIsRefusedByName) {
    {
        const ORQSimTransaction undone(m_document.ContextID());
        ORQObjStepBuilder(m_document).AddStep("Lost", ORQSimSchema::Step_General);
        Handler().BeginStep("Lost");
    }
    EXPECT_TRUE(Fails(ORQBasFailureKind::Usage, {"Step_General", "was undone"}, [] { Warn(1); }));
    Handler().BeginStep("Cooling");
    Warn(2);
    EXPECT_EQ(Conditions("Cooling").Size(), 1);
}

TEST_F(Diagnostics, TheJobHasOneStatus) {
    EXPECT_FALSE(ORQObjReadJobStatus(m_document).has_value());
    Handler().SetJobStatus(0);
    EXPECT_EQ(ORQObjReadJobStatus(m_document), ORQObjJobStatus::Running);
    const ORQSimPosition results = m_document.GetResults();
    const ORQSimPosition status = m_document.Focus().GetPosition(ORQSimSchema::Focus_jobStatus);
    EXPECT_TRUE(results.IsA(ads_CoreFragmentTypeIndex(18, 16)));
    EXPECT_TRUE(status.IsA(ads_CoreFragmentTypeIndex(11, 17)));
    Handler().SetJobStatus(2);
    EXPECT_EQ(ORQObjReadJobStatus(m_document), ORQObjJobStatus::Failed);
    EXPECT_EQ(m_document.GetResults(), results);
    EXPECT_EQ(m_document.Focus().GetPosition(ORQSimSchema::Focus_jobStatus), status);
    const ORQObjDocument reader(ORQSimDatabase::Open(m_path, Mode::ReadOnly));
    EXPECT_EQ(ORQObjReadJobStatus(reader), ORQObjJobStatus::Failed);
}

TEST_F(Diagnostics, WithoutAnOpenDocumentAHandlerIsSilent) {
    Handler().BeginStep("Cooling");
    ORQSimDatabase(m_document.Database()).Close();
    const auto report = [] {
        Handler().BeginStep("Cooling");
        Warn(1);
        Handler().SetJobStatus(1);
    };
    EXPECT_NO_THROW(report());
    omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    EXPECT_NO_THROW(report());

    // What was finalized has let go of its document and knows no step.
    m_document = ORQSimDatabase::Open(m_path, Mode::ReadWrite);
    EXPECT_EQ(Conditions("Cooling").Size(), 0);
    Handler().SetDocument(m_document);
    EXPECT_TRUE(Fails(Failure::Usage, {"Task_conditions"}, [] { Warn(1); }));
    report();
    EXPECT_EQ(Conditions("Cooling").Size(), 1);
    omi_SingletonBase<ORQSrvDiagnosticsHandler>::Finalize();
    m_document = ORQObjDocument();
    EXPECT_TRUE(ORQSimDatabase::Open(m_path, Mode::ReadWrite).IsWritable());
}

TEST_F(Diagnostics, AStepOfAFormerDocumentTakesNoConditions) {
    Handler().BeginStep("Cooling");
    ORQObjDocument other(NewDatabase());
    Handler().SetDocument(other);
    EXPECT_TRUE(Fails(Failure::Usage, {m_path, "no transaction"}, [] { Warn(1); }));
    EXPECT_EQ(Conditions("Cooling").Size(), 0);
}

TEST_F(Diagnostics, ProgressIsSilentAndStoresNothing) {
    const std::int64_t before = m_document.Database().Generation();
    testing::internal::CaptureStdout();
    Handler().BeginIncrement(1, 0.5);
    Handler().BeginAttempt(0.5);
    Handler().BeginIteration();
    Handler().BeginContactIteration();
    Handler().EndContactIteration();
    Handler().EndIteration();
    Handler().EndAttempt();
    Handler().EndIncrement(0.5);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(m_document.Database().Generation(), before);
}

TEST_F(Diagnostics, AttemptsAreCountedWithinAnIncrementAndIterationsWithinAnAttempt) {
    for (const bool isTraced : {false, true}) {  // counted in either case
        IsTracing(Handler()) = isTraced;
        testing::internal::CaptureStdout();
        Handler().BeginIncrement(7, 0.5);
        Handler().BeginAttempt(0.5);
        Handler().BeginIteration();
        Handler().EndIteration();
        Handler().BeginIteration();
        Handler().EndAttempt();
        Handler().BeginAttempt(0.5);
        Handler().BeginIteration();
        Handler().BeginContactIteration();
        Handler().EndContactIteration();
        Handler().EndIncrement(0.5);
        Handler().BeginIncrement(8, 0.5);
        Handler().BeginAttempt(0.5);
        Handler().BeginIteration();
        Handler().EndAttempt();
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  isTraced ? "BeginIncrement 7\nBeginAttempt 2\nBeginIteration 1\nEndIteration\n"
                             "BeginIteration 2\nEndAttempt\nBeginAttempt 3\nBeginIteration 1\n"
                             "EndIncrement\nBeginIncrement 8\nBeginAttempt 1\nBeginIteration 2\n"
                             "EndAttempt\n"
                           : "");
    }
}
