#pragma once

#include "ORQExcCheck.h"
#include "ORQExcReport.h"
#include "ORQObjDocument.h"

namespace orqmodel {

/// Mends of what a check found what needs no judgement: turns solids inside out, merges equal elements and the coincident nodes of each part
/// within the check's tolerance, then drops the nodes and the empty sets that nothing uses; each
/// only where the options want its rule. REQUIRES: an open transaction, which can only be undone when
/// this throws, as the calls of ORQExcEdit.h do.
void Mend(const ORQObjDocument& document, const ORQExcChecker& checker,
          const ORQExcCheckOptions& options, const ORQExcCheckResult& found, ORQExcReport& report);

}  // namespace orqmodel
