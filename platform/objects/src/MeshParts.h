/// What every mesh has. For the object layer's own sources.
#pragma once

#include <vector>

#include "FindOrMake.h"
#include "ORQSimContext.h"
#include "ORQSimDistribution.h"
#include "ORQSimPosition.h"
#include "ORQSimSchema.h"

struct MeshParts {
    ORQSimPosition nodes;
    ORQSimPosition elements;
    ORQSimPosition places;  // of nodes in an element
};

/// The collections of a mesh, with its coordinates, by node and component, and its connectivity;
/// made where they are missing.
inline MeshParts NeedMeshParts(const ORQSimPosition& mesh, const ORQSimPosition& components) {
    using namespace ORQSimSchema;
    const MeshParts parts = {
        NeedCollection(mesh, Mesh_nodes, NodeCollection),
        NeedCollection(mesh, Mesh_elements, ElementCollection),
        NeedCollection(mesh, Mesh_elementNodePlaces, ElementNodePlaceCollection)};
    FindOrMake(mesh, Mesh_connectivity, [&]() -> ORQSimPosition {
        const ORQSimDistributionID rows = mesh.Context().CreateDistribution(
            ORQSimGrid(std::vector{parts.elements.GetCollection(), parts.places.GetCollection()}),
            ORQSimRangeType(ORQSimScalarInt, parts.nodes.GetCollection()),
            ORQSimTypeID(ConnectivityRows));
        return mesh.Context().CreateDSet(rows, ORQSimTypeID(Connectivity));
    });
    NeedDistribution(mesh, Mesh_coordinates, NodalCoordinates, {parts.nodes, components},
                     ORQSimRangeType(ORQSimScalarDouble));
    return parts;
}
