#pragma once

#include "ORQBasExport.h"
#include "ORQBasMap.h"
#include "ORQObjDocument.h"
#include "ORQSimPosition.h"

/// The number of points through the thickness of every layer of every shell section of a document.
/// The first query reads all of them, and later changes of the model are not seen.
class ORQ_EXPORT ORQSrvShellSectionPoints {
  public:
    explicit ORQSrvShellSectionPoints(ORQObjDocument document);
    ~ORQSrvShellSectionPoints();

    /// 0 for a section or layer for which nothing is stored. Throws ORQBasAssertException
    /// ("layer.Size() == 1") when a drawer covers several layers.
    int GetNumSectionPoints(ORQSimPosition section, int layer) const;

  private:
    void AddPoints(ORQSimPosition section, int layer, int count) const;
    void UpdateMap() const;

    ORQObjDocument m_document;
    mutable ORQBasMap<ORQSimPosition, ORQBasMap<int, int>> m_map;
    mutable bool m_mapFilled = false;
};
