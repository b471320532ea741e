#include "ORQObjDiagnostics.h"

#include "ORQSimDataRecord.h"
#include "ORQSimLinks.h"
#include "ORQSimRecordFields.h"
#include "ORQSimSchema.h"

std::optional<ORQObjJobStatus> ORQObjReadJobStatus(const ORQObjDocument& document) {
    const ORQSimPosition status = document.Focus().GetPosition(ORQSimSchema::Focus_jobStatus);
    if (status.IsNull()) {
        return std::nullopt;
    }
    return static_cast<ORQObjJobStatus>(
        status.DataRecord().GetInt(ORQSimRecordField::JobStatus_status));
}

int ORQObjCondition::GetCode() const {
    return m_position.DataRecord().GetInt(ORQSimRecordField::Condition_code);
}

ORQObjSeverity ORQObjCondition::GetSeverity() const {
    return static_cast<ORQObjSeverity>(
        m_position.DataRecord().GetSymb(ORQSimRecordField::Condition_severity));
}

std::vector<ORQObjConditionArgument> ORQObjCondition::ReadArguments() const {
    std::vector<ORQObjConditionArgument> arguments;
    const ORQSimVector records = m_position.GetVector(ORQSimSchema::Condition_arguments);
    for (auto i = records.Begin(); i.NotDone(); ++i) {
        const ORQSimDataRecord record = (*i).DataRecord();
        if ((*i).IsA(ORQSimSchema::Condition_intArgument)) {
            arguments.emplace_back(record.GetInt(ORQSimRecordField::Condition_intArgument_value));
        } else if ((*i).IsA(ORQSimSchema::Condition_doubleArgument)) {
            arguments.emplace_back(
                record.GetDouble(ORQSimRecordField::Condition_doubleArgument_value));
        } else {
            arguments.emplace_back(
                record.ReturnString(ORQSimRecordField::Condition_stringArgument_value));
        }
    }
    return arguments;
}
