#include "ORQSrvBulkShellLayers.h"

template class omi_SingletonBase<ORQSrvBulkShellLayers>;
template class omi_Singleton<ORQSrvBulkShellLayers>;
