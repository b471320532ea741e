#pragma once

#include "ORQBasExport.h"
#include "ORQSimIDs.h"
#include "ORQSimPosition.h"

/// A field over members of a mesh, as a view of its record.
class ORQ_EXPORT ORQObjMeshedField {
  public:
    ORQObjMeshedField() = default;
    ORQObjMeshedField(const ORQSimPosition& position) : m_position(position) {}

    const ORQSimPosition& Position() const { return m_position; }
    /// Null when the field holds no values yet.
    ORQSimDistributionID GetDistribution() const;
    /// The type index that says where the values live, for example Field_Nodal; 0 when unknown.
    int GetGridType() const;

  private:
    ORQSimPosition m_position;
};
