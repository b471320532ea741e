#include "ORQObjModel.h"

#include "ORQSimSchema.h"

ORQSimPosition ORQObjModel::GetMesh() const {
    return m_position.GetPosition(ORQSimSchema::Model_mesh);
}

ORQSimPosition ORQObjModel::GetRegionCollection() const {
    return m_position.GetPosition(ORQSimSchema::Model_regions);
}

ORQSimPosition ORQObjModel::GetStep(const ORQString& name) const {
    return m_position.GetMap(ORQSimSchema::Model_steps).Find(name);
}

ORQSimVector ORQObjModel::GetStepSequence() const {
    return m_position.GetVector(ORQSimSchema::Model_stepSequence);
}
