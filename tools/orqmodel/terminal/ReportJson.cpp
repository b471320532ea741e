#include "terminal/ReportJson.h"

#include <nlohmann/json.hpp>

#include "ORQExcOutcomes.h"

namespace orqmodel {

nlohmann::json ReportToJson(const ORQExcReport& report) {
    nlohmann::json object;
    for (const auto& [outcome, heading] : kORQExcOutcomes) {
        nlohmann::json& list = object[heading] = nlohmann::json::array();
        for (const ORQExcReportEntry& entry : report.Entries()) {
            if (entry.outcome != outcome) {
                continue;
            }
            list.push_back({{"kind", entry.kind}, {"name", entry.name}, {"count", entry.count}});
            if (!entry.reason.empty()) {
                list.back()["reason"] = entry.reason;
            }
        }
    }
    if (!report.HasFindings()) {
        object.erase("findings");
    }
    return object;
}

}  // namespace orqmodel
