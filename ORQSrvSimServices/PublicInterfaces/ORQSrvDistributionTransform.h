#pragma once

#include "ORQBasExport.h"
#include "ORQSimArray.h"
#include "ORQSimIDs.h"

/// What happens to the values of a distribution while they are copied (ORQSrvCopyDistribution).
/// This one leaves them as they are; derived ones change them in place.
class ORQ_EXPORT ORQSrvDistributionTransform {
  public:
    virtual ~ORQSrvDistributionTransform();
    /// `data` are the values of one block, row-major over `domains` (one set of members for each
    /// dimension) and of the scalar type of the source. Their number cannot change.
    virtual void Update(void* data, const ORQSimArray<ORQSimCSetID>& domains) const;
};
