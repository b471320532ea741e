#include "ORQObjDiagnostics.h"

#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"

namespace {

// Fields of a condition's record. Stored, do not change.
constexpr int kSeverityField = 1;
constexpr int kCodeField = 2;

}  // namespace

std::optional<ORQObjJobStatus> ORQObjReadJobStatus(const ORQObjDocument& document) {
    const ORQSimPosition status = document.Focus().GetPosition(ORQSimSchema::Focus_jobStatus);
    if (status.IsNull()) {
        return std::nullopt;
    }
    return static_cast<ORQObjJobStatus>(status.DataRecord().GetInt(0));
}

int ORQObjCondition::GetCode() const {
    return m_position.DataRecord().GetInt(kCodeField);
}

ORQObjSeverity ORQObjCondition::GetSeverity() const {
    return static_cast<ORQObjSeverity>(m_position.DataRecord().GetSymb(kSeverityField));
}

std::vector<ORQObjConditionArgument> ORQObjCondition::ReadArguments() const {
    std::vector<ORQObjConditionArgument> arguments;
    const ORQSimVector records = m_position.GetVector(ORQSimSchema::Condition_arguments);
    for (auto i = records.Begin(); i.NotDone(); ++i) {
        const ORQSimDataRecord record = (*i).DataRecord();
        if ((*i).IsA(ORQSimSchema::Condition_intArgument)) {
            arguments.emplace_back(record.GetInt(0));
        } else if ((*i).IsA(ORQSimSchema::Condition_doubleArgument)) {
            arguments.emplace_back(record.GetDouble(0));
        } else {
            arguments.emplace_back(record.ReturnString(0));
        }
    }
    return arguments;
}
