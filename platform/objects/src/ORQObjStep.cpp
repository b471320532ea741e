#include "ORQObjStep.h"

#include "ORQSimDistribution.h"
#include "ORQSimSchema.h"
#include "ORQSimTransfer.h"

namespace {

std::vector<ORQObjMeshedField> FieldsIn(const ORQSimSet& set) {
    std::vector<ORQObjMeshedField> fields;
    for (auto i = set.Begin(); i.NotDone(); ++i) {
        fields.emplace_back(*i);
    }
    return fields;
}

}  // namespace

ORQSimCSet ORQObjStep::GetTimes() const {
    return m_position.GetPosition(ORQSimSchema::Task_times).CSet();
}

std::vector<double> ORQObjStep::ReadTimes() const {
    const ORQSimCSet times = GetTimes();
    std::vector<double> values(static_cast<std::size_t>(times.Size()));
    if (!values.empty()) {
        const ORQSimPosition description =
            m_position.GetPosition(ORQSimSchema::Task_timeDescription);
        ORQSimTransfer(
            ORQSimDistribution(description.GetPosition(ORQSimSchema::TimeDescription_distribution)
                                   .GetDistribution()))
            .SetRead()
            .SetDim(0, times)
            .SetBuffer(ORQSimbufMain, values.data(),
                       static_cast<std::int64_t>(values.size() * sizeof(double)))
            .ExecRead();
    }
    return values;
}

std::vector<ORQObjMeshedField> ORQObjStep::GetFieldResults() const {
    return FieldsIn(m_position.GetSet(ORQSimSchema::Task_fieldResults));
}

std::vector<ORQObjMeshedField> ORQObjStep::GetHistoryFields() const {
    return FieldsIn(m_position.GetSet(ORQSimSchema::Task_historyFields));
}

ORQSimVector ORQObjStep::GetConditions() const {
    return m_position.GetVector(ORQSimSchema::Task_conditions);
}
