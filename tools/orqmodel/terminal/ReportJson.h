#pragma once

#include <nlohmann/json_fwd.hpp>

#include "ORQExcReport.h"

namespace orqmodel {

/// {"kept": [...], "noted": [...], "changed": [...], "dropped": [...]}, always with all four;
/// and "findings" where there are any.
/// An entry is {"kind", "name", "count"}, and "reason" where it was not just kept.
nlohmann::json ReportToJson(const ORQExcReport& report);

}  // namespace orqmodel
