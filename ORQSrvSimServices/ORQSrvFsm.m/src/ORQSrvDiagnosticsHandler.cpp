#include "ORQSrvDiagnosticsHandler.h"

#include "ORQObjDiagnostics.h"
#include "ORQObjModel.h"
#include "ORQSimDataRecord.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"
#include "ORQSimTransaction.h"
#include "ORQString.h"
#include "aio_ostream.h"

template class omi_SingletonBase<ORQSrvDiagnosticsHandler>;
template class omi_Singleton<ORQSrvDiagnosticsHandler>;

namespace {

// The one origin of conditions that there is. Stored, do not change.
constexpr int kOriginAnalysis = 3;

// Adds a record for each value, which `set` stores in it.
template <class Value, class Set>
void AddArguments(const ORQObjDocument& document, ORQSimVector& arguments, int type, Value* values,
                  int count, Set&& set) {
    for (int i = 0; i < count; ++i) {
        const ORQSimDataRecord record = document.CreateDataRecord(type);
        set(record, values[i]);
        arguments.PushBack(record.Pos());
    }
}

}  // namespace

void ORQSrvDiagnosticsHandler::SetDocument(ORQObjDocument& document) {
    m_document = document;
}

// --- Progress ------------------------------------------------------------------------------------

void ORQSrvDiagnosticsHandler::BeginStep(const char* name) {
    if (m_document.IsClosed()) {
        return;
    }
    m_step = ORQObjModel(m_document.GetModel()).GetStep(ORQString(name));
}

void ORQSrvDiagnosticsHandler::EndStep() {
    m_step = ORQSimPosition();
}

void ORQSrvDiagnosticsHandler::BeginIncrement(int increment, double) {
    Trace("BeginIncrement ", increment);
}

void ORQSrvDiagnosticsHandler::EndIncrement(double) {
    m_attempt = 0;
    Trace("EndIncrement");
}

void ORQSrvDiagnosticsHandler::BeginAttempt(double) {
    ++m_attempt;
    Trace("BeginAttempt ", m_attempt);
}

void ORQSrvDiagnosticsHandler::EndAttempt() {
    m_iteration = 0;
    Trace("EndAttempt");
}

void ORQSrvDiagnosticsHandler::BeginIteration() {
    ++m_iteration;
    Trace("BeginIteration ", m_iteration);
}

void ORQSrvDiagnosticsHandler::EndIteration() {
    Trace("EndIteration");
}

void ORQSrvDiagnosticsHandler::BeginContactIteration() {}

void ORQSrvDiagnosticsHandler::EndContactIteration() {}

void ORQSrvDiagnosticsHandler::Trace(const char* text, std::optional<int> number) const {
    if (!m_isTracing) {
        return;
    }
    aio_cout.print(text);
    if (number) {
        aio_cout.print_int(*number);
    }
    aio_cout.put('\n');
    aio_cout.flush();
}

// --- Conditions ----------------------------------------------------------------------------------

void ORQSrvDiagnosticsHandler::AddWarningError(int code, bool isError, int* ints, int nInts,
                                               double* doubles, int nDoubles, char** strings,
                                               int nStrings, int* elementSets, int nElementSets,
                                               int* nodeSets, int nNodeSets) {
    if (m_document.IsClosed()) {
        return;
    }
    // One commit a condition, so that a program that watches the analysis sees it.
    ORQSimTransaction transaction(m_document.ContextID());
    const ORQSimDataRecord condition = m_document.CreateDataRecord(ORQSimSchema::Condition);
    condition.SetInt(ORQSimRecordField::Condition_code, code);
    condition.SetSymb(ORQSimRecordField::Condition_origin, kOriginAnalysis);
    condition.SetSymb(ORQSimRecordField::Condition_severity,
                      static_cast<int>(isError ? ORQObjSeverity::Error : ORQObjSeverity::Warning));
    m_step.GetVector(ORQSimSchema::Task_conditions).PushBack(condition.Pos());

    ORQSimVector arguments = condition.Pos().GetVector(ORQSimSchema::Condition_arguments);
    AddConditionIntArgs(arguments, ints, nInts);
    AddConditionDoubleArgs(arguments, doubles, nDoubles);
    AddConditionStringArgs(arguments, strings, nStrings);
    AddConditionElSetArgs(arguments, elementSets, nElementSets);
    AddConditionNodeSetArgs(arguments, nodeSets, nNodeSets);
    transaction.Commit();
}

void ORQSrvDiagnosticsHandler::AddConditionIntArgs(ORQSimVector& arguments, const int* values,
                                                   int count) {
    AddArguments(m_document, arguments, ORQSimSchema::Condition_intArgument, values, count,
                 [](const ORQSimDataRecord& record, int value) {
                     record.SetInt(ORQSimRecordField::Condition_intArgument_value, value);
                 });
}

void ORQSrvDiagnosticsHandler::AddConditionDoubleArgs(ORQSimVector& arguments, const double* values,
                                                      int count) {
    AddArguments(m_document, arguments, ORQSimSchema::Condition_doubleArgument, values, count,
                 [](const ORQSimDataRecord& record, double value) {
                     record.SetDouble(ORQSimRecordField::Condition_doubleArgument_value, value);
                 });
}

void ORQSrvDiagnosticsHandler::AddConditionStringArgs(ORQSimVector& arguments, char** values,
                                                      int count) {
    AddArguments(m_document, arguments, ORQSimSchema::Condition_stringArgument, values, count,
                 [](const ORQSimDataRecord& record, const char* value) {
                     record.SetString(ORQSimRecordField::Condition_stringArgument_value,
                                      ORQString(value));
                 });
}

void ORQSrvDiagnosticsHandler::AddConditionElSetArgs(ORQSimVector&, const int*, int) {}

void ORQSrvDiagnosticsHandler::AddConditionNodeSetArgs(ORQSimVector&, const int*, int) {}

// --- Job status ----------------------------------------------------------------------------------

void ORQSrvDiagnosticsHandler::SetJobStatus(int status) {
    if (m_document.IsClosed()) {
        return;
    }
    ORQSimTransaction transaction(m_document.ContextID());
    if (m_document.GetResults().IsNull()) {
        m_document.SetResults(m_document.CreateDataRecord(ORQSimSchema::Results).Pos());
    }
    const ORQSimPosition focus = m_document.Focus();
    if (focus.GetPosition(ORQSimSchema::Focus_jobStatus).IsNull()) {
        focus.SetPosition(ORQSimSchema::Focus_jobStatus,
                          m_document.CreateDataRecord(ORQSimSchema::JobStatus).Pos());
    }
    focus.GetPosition(ORQSimSchema::Focus_jobStatus)
        .DataRecord()
        .SetInt(ORQSimRecordField::JobStatus_status, status);
    transaction.Commit();
}
