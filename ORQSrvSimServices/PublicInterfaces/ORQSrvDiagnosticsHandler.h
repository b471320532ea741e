#pragma once

#include <optional>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimDatabase.h"
#include "ORQSimLinks.h"
#include "ORQSimPosition.h"
#include "omi_Singleton.h"

/// The process-wide place to which a running analysis reports: conditions (warnings and errors) of
/// the current step and the status of the job. Each is stored durably before the call returns,
/// unless the host has a transaction open on the document's database: then a report is part of it,
/// becomes durable with its commit and goes when it is undone. What readers see of it is in
/// ORQObjDiagnostics.h.
///
///   auto& handler = omi_Singleton<ORQSrvDiagnosticsHandler>::Instance();
///   handler.SetDocument(document);
///   handler.SetJobStatus(static_cast<int>(ORQObjJobStatus::Running));
///   handler.BeginStep("Heating");
///   ...
///   handler.AddWarningError(2, false, &increment, 1, &timeStep, 1, texts, 1, nullptr, 0, nullptr,
///                           0);
///   handler.EndStep();
///   handler.SetJobStatus(static_cast<int>(ORQObjJobStatus::Completed));
///
/// Without a document, or with one that has been closed, nothing happens. Failures of the database
/// pass through as exceptions derived from ORQBasException; nothing of the report is stored then,
/// and the next one works. Within a transaction of the host's, what the host wrote before stays.
///
/// Increments, attempts and iterations are counted and stored nowhere: what others see of progress
/// is what the host commits.
class ORQ_EXPORT ORQSrvDiagnosticsHandler : public omi_SingletonBase<ORQSrvDiagnosticsHandler> {
  public:
    /// Shares the document, and keeps it open, until another one is given or the handler is
    /// finalized. The current step stays what it was: begin one of the new document.
    void SetDocument(ORQObjDocument& document);

    /// Conditions belong to the model's step of that name (UTF-8) until it ends; to none, when the
    /// model has no such step.
    void BeginStep(const char* name);
    void EndStep();

    void BeginIncrement(int increment, double time);
    void EndIncrement(double time);
    void BeginAttempt(double timeStep);
    void EndAttempt();
    void BeginIteration();
    void EndIteration();
    void BeginContactIteration();
    void EndContactIteration();

    /// Stores a condition behind those of the current step, in a transaction of its own: a code of
    /// the host's, whether it is an error or a warning, and arguments, ints first, then doubles,
    /// then strings. Strings are UTF-8; each byte that is not reads as U+FFFD, and null as the
    /// empty text. A count below 1 stands for none. Sets of elements and nodes are not kept.
    /// Without a current step it throws ORQBasFailure (Usage).
    void AddWarningError(int code, bool isError, int* ints, int nInts, double* doubles,
                         int nDoubles, char** strings, int nStrings, int* elementSets,
                         int nElementSets, int* nodeSets, int nNodeSets);

    /// Stores the status of the job (ORQObjJobStatus) in place of the former, in a transaction of
    /// its own.
    void SetJobStatus(int status);

  private:
    friend class omi_Singleton<ORQSrvDiagnosticsHandler>;
    friend class omi_SingletonBase<ORQSrvDiagnosticsHandler>;

    ORQSrvDiagnosticsHandler() = default;
    ~ORQSrvDiagnosticsHandler() = default;

    void AddConditionIntArgs(ORQSimVector& arguments, const int* values, int count);
    void AddConditionDoubleArgs(ORQSimVector& arguments, const double* values, int count);
    void AddConditionStringArgs(ORQSimVector& arguments, char** values, int count);
    // Kept without effect: sets are accepted and dropped.
    void AddConditionElSetArgs(ORQSimVector& arguments, const int* values, int count);
    void AddConditionNodeSetArgs(ORQSimVector& arguments, const int* values, int count);

    void Trace(const char* text, std::optional<int> number = {}) const;

    ORQSimDatabase m_database;  // kept without use: never opened
    ORQSimPosition m_step;
    ORQSimPosition m_unused[4];  // kept without use
    int m_attempt = 0;           // within the increment
    int m_iteration = 0;         // within the attempt
    bool m_isTracing = false;    // kept, though nothing sets it
    ORQObjDocument m_document;
};

extern template class omi_SingletonBase<ORQSrvDiagnosticsHandler>;
extern template class omi_Singleton<ORQSrvDiagnosticsHandler>;
