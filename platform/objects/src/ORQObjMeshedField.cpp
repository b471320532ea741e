#include "ORQObjMeshedField.h"

#include "ORQSimDataRecord.h"
#include "ORQSimSchema.h"

namespace {

constexpr int kGridTypeField = 0;  // stored, do not change

}  // namespace

ORQSimDistributionID ORQObjMeshedField::GetDistribution() const {
    return m_position.GetPosition(ORQSimSchema::Field_distribution).GetDistribution();
}

int ORQObjMeshedField::GetGridType() const {
    return m_position.DataRecord().GetTypeID(kGridTypeField).Index();
}
