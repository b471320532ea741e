#pragma once

#include "ORQBasExport.h"
#include "ORQBasMap.h"
#include "ORQSimDatabase.h"
#include "ORQSimPosition.h"
#include "omi_Singleton.h"

/// The process-wide collector of the tributary areas of surface nodes: gathers them surface by
/// surface and writes all in one sparse distribution (surfaces x nodes) on the mesh.
///
///   auto& areas = omi_Singleton<ORQSrvSurfaceNodalAreas>::Instance();
///   ORQBasMap<int, double> ofNodes = {{12, 0.25}, {13, 0.5}};
///   areas.AppendSurfaceIdNodeArea(surface, ofNodes);
///   areas.WriteSurfaceNodalAreas(model);
///
/// Surfaces are member numbers of the model's region collection, nodes those of the mesh's node
/// collection; areas are in the square of the model's length unit, not converted.
class ORQ_EXPORT ORQSrvSurfaceNodalAreas : public omi_SingletonBase<ORQSrvSurfaceNodalAreas> {
  public:
    /// Keeps a copy of the areas of one surface. A surface that is there already keeps its first.
    /// Both arguments stay as they are.
    void AppendSurfaceIdNodeArea(int& surfaceId, ORQBasMap<int, double>& nodeAreas);
    /// Drops everything that was appended.
    void Clean();
    /// Writes everything in a transaction of its own, records the distribution on the mesh in place
    /// of an earlier one, and drops what was appended; does nothing when nothing was. `position` is
    /// any object of the database. Areas below 1.0e-8 are stored as 1.0e-7, so that every stored
    /// one is a true non-zero. When this throws, the database is unchanged and what was appended is
    /// kept.
    void WriteSurfaceNodalAreas(ORQSimPosition position);

  private:
    friend class omi_Singleton<ORQSrvSurfaceNodalAreas>;
    friend class omi_SingletonBase<ORQSrvSurfaceNodalAreas>;

    ORQSrvSurfaceNodalAreas() { Initialize(); }
    ~ORQSrvSurfaceNodalAreas() = default;
    void Initialize();

    ORQSimDatabase m_database;  // kept without use: never opened
    ORQBasMap<int, ORQBasMap<int, double>> m_areas;
};

extern template class omi_SingletonBase<ORQSrvSurfaceNodalAreas>;
extern template class omi_Singleton<ORQSrvSurfaceNodalAreas>;
