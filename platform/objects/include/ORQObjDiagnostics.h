/// What a running analysis reported: the status of its job and the conditions of its steps.
/// ORQSrvDiagnosticsHandler writes them.
#pragma once

#include <optional>
#include <variant>
#include <vector>

#include "ORQBasExport.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"
#include "ORQString.h"

/// The status of a job. Stored, do not change; hosts may store numbers of their own from 100 on.
///
/// Running is what the host stores when it begins, and it does not change when the host dies: a job
/// is Running and its database is open for writing by nobody (ORQSimDatabase::Writer).
enum class ORQObjJobStatus : int {
    Running = 0,
    Completed = 1,
    Failed = 2  ///< ended by itself before its end, after an error
};

/// What the host said last; empty when no job has said anything. May be a number of its own.
ORQ_EXPORT std::optional<ORQObjJobStatus> ORQObjReadJobStatus(const ORQObjDocument& document);

/// How grave a condition is: its symbol field 1. Stored, do not change.
enum class ORQObjSeverity : int { Error = 0, Warning = 3 };

using ORQObjConditionArgument = std::variant<int, double, ORQString>;

/// A warning or error of a running analysis, as a view of its record: a handle, free to copy. Its
/// symbol field 0 says where it came from; all come from the analysis, symbol 3. Throws as
/// ORQSimDataRecord does: Usage when a field is of another kind or the database is closed.
class ORQ_EXPORT ORQObjCondition {
  public:
    ORQObjCondition() = default;
    ORQObjCondition(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    /// The host's number for this sort of condition.
    int GetCode() const;
    ORQObjSeverity GetSeverity() const;
    /// Reads the arguments in their order.
    std::vector<ORQObjConditionArgument> ReadArguments() const;

  private:
    ORQSimPosition m_position;
};
