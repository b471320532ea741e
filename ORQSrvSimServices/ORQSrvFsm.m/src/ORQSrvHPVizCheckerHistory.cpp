// The checker's part for history, output requests and results; chooses the fields that are checked.
#include <algorithm>
#include <array>
#include <set>

#include "ORQObjMeshedField.h"
#include "ORQSimDistribution.h"
#include "ORQSimLinks.h"
#include "ORQSimSchema.h"
#include "ORQSrvCheckerCommon.h"
#include "ORQSrvHPVizChecker.h"

using namespace orq::checker;

namespace {

// --- Output requests -----------------------------------------------------------------------------

void CheckUserRequest(const ORQSimPosition& userRequest, const ORQString& field,
                      ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQString head = field + ", UserOutputRequest " + QuotedName(userRequest);
    const ORQSimSet regions = userRequest.GetSet(UserOutputRequest_outputRegions);
    if (regions.Empty()) {
        messages.push_back(head + " has no Region link (UserOutputRequest_outputRegions).");
    }
    for (auto region = regions.Begin(); region.NotDone(); ++region) {
        constexpr std::array<int, 4> clusters = {Region_elementsFacesCluster,
                                                 Region_elementsEdgesCluster, Region_nodesCluster,
                                                 Region_elementsCluster};
        if (std::ranges::none_of(clusters, [&](int slot) { return Has(*region, slot); })) {
            messages.push_back(head + " has no cluster link.");
        }
    }
}

// The output request of a history field; `field` is the field with its step.
void CheckRequests(const ORQSimPosition& position, const ORQString& field,
                   ORQBasVector<ORQString>& messages) {
    using namespace ORQSimSchema;
    const ORQSimSet requests = position.ReferrersSet(OutputRequest_field);
    if (requests.Empty()) {
        messages.push_back(field +
                           " is not referred to by an OutputRequest (OutputRequest_field).");
    }
    for (auto request = requests.Begin(); request.NotDone(); ++request) {
        const ORQSimSet userRequests = (*request).ReferrersSet(OutputRequest_elaboratedRequest);
        if (userRequests.Empty()) {
            messages.push_back("OutputRequest for " + field +
                               " is not referred to by UserOutputRequest "
                               "(OutputRequest_elaboratedRequest).");
        }
        for (auto user = userRequests.Begin(); user.NotDone(); ++user) {
            CheckUserRequest(*user, field, messages);
        }
    }
}

bool HasContent(const ORQSimPosition& field) {
    return ORQSimDistribution(ORQObjMeshedField(field).GetDistribution()).NumDrawers() > 0;
}

}  // namespace

void ORQSrvHPVizChecker::Check_History() {
    using namespace ORQSimSchema;
    std::set<ORQSimPosition> checked;
    const auto checkOnce = [&](const ORQSimPosition& field, const ORQString& owner, int number) {
        if (field.IsA(MeshedField) &&
            (HasNodeOrElementDim(field) || IsReferredTo(field, Task_fieldResults)) &&
            checked.insert(field).second) {
            const ORQString name = ORQString("SerFld: #") + number + "; " + owner;
            CheckObject(name, m_messages, [&] { Check_Field(field, owner, ORQString() + number); });
        }
    };
    const ORQSimVector steps = m_model.GetVector(Model_stepSequence);
    for (auto step = steps.Begin(); step.NotDone(); ++step) {
        const ORQString stepName = "Step " + QuotedName(*step);
        const ORQSimSet fields = (*step).GetSet(Task_historyFields);
        int number = 0;
        for (auto field = fields.Begin(); field.NotDone(); ++field, ++number) {
            const ORQString fieldName = stepName + ", History field #" + number;
            if (!(*field).IsA(MeshedField)) {
                m_messages.push_back(fieldName + " is not a MeshedField.");
                continue;
            }
            checkOnce(*field, stepName, number);
            CheckRequests(*field, fieldName, m_messages);
        }
    }

    const ORQSimVector requests = m_model.GetVector(Model_outputRequests);
    int requestNumber = 0;
    for (auto request = requests.Begin(); request.NotDone(); ++request, ++requestNumber) {
        const ORQString requestName = ORQString("OutputRequest #") + requestNumber;
        const ORQSimVector fields = (*request).GetVector(OutputRequest_field);
        int number = 0;
        for (auto field = fields.Begin(); field.NotDone(); ++field, ++number) {
            checkOnce(*field, requestName, number);
            if (HasContent(*field) && !IsReferredTo(*field, Task_fieldResults) &&
                !IsReferredTo(*field, Task_historyFields)) {
                m_messages.push_back("For " + requestName + "; Field #" + number +
                                     "; fieldtype: " + FieldTypeName(*field) +
                                     " has content but has no Task_fieldResults parent link.");
            }
        }
    }

    for (auto step = steps.Begin(); step.NotDone(); ++step) {
        const ORQString stepName = "Step " + QuotedName(*step);
        const ORQSimSet results = (*step).GetSet(Task_fieldResults);
        int number = 0;
        for (auto field = results.Begin(); field.NotDone(); ++field, ++number) {
            if ((*field).IsA(MeshedField)) {
                checkOnce(*field, stepName, number);
            } else {
                m_messages.push_back(stepName + ", Result field #" + number +
                                     " is not a MeshedField.");
            }
        }
    }
}
