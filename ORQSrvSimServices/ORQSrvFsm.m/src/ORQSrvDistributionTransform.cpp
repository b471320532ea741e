#include "ORQSrvDistributionTransform.h"

ORQSrvDistributionTransform::~ORQSrvDistributionTransform() = default;

void ORQSrvDistributionTransform::Update(void*, const ORQSimArray<ORQSimCSetID>&) const {}
