#pragma once

#include "ORQBasExport.h"
#include "omi_Singleton.h"

/// The process-wide writer of layered shell sections. Only its lifetime stands yet: it is made on
/// first use, holds nothing, and ends with the ORQSrvFsm sub-module at the latest.
class ORQ_EXPORT ORQSrvBulkShellLayers : public omi_SingletonBase<ORQSrvBulkShellLayers> {
    friend class omi_Singleton<ORQSrvBulkShellLayers>;
    friend class omi_SingletonBase<ORQSrvBulkShellLayers>;

    ORQSrvBulkShellLayers() = default;
    ~ORQSrvBulkShellLayers() = default;
};

extern template class omi_SingletonBase<ORQSrvBulkShellLayers>;
extern template class omi_Singleton<ORQSrvBulkShellLayers>;
