#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "ORQBasExport.h"

/// The one table of element shapes: what importers, exporters, areas, checks and pictures know of
/// points, bars, triangles, quadrilaterals, tetrahedra, pyramids, wedges and hexahedra.
///
/// Nodes are numbered from 0 in the order of Exodus II: corners first, then the middles of edges,
/// then of faces, then of the volume. Other formats give their order as a permutation.
struct ORQ_EXPORT ORQExcShape {
    /// A face or an edge of an element, as the local numbers of its nodes: corners in order around
    /// it, seen from outside, then the middles of its edges, then its own middle.
    struct Side {
        std::vector<int> nodes;
        int nCorners;
        bool IsEdge() const { return nCorners == 2; }
    };

    const char* name;  ///< ours and that of the element spec, for example "HEX8"
    int dimension;     ///< 0 to 3; of the shape, not of space
    int nNodes;
    int nCorners;
    /// What side sets count, from 0. Of a volume its faces, of a plane shape its edges, of a shell
    /// its upper and lower face and then its edges.
    std::vector<Side> sides;
    std::vector<Side> edges;
    /// A side whose number a database gives. Throws ORQBasFailure, Damaged, when there is none.
    const Side& SideAt(int number) const;

    int vtkType;
    int gmshType;  ///< 0: none
    /// Ours at place k stands at place vtkOrder[k] in VTK, gmshOrder[k] in Gmsh; empty when the
    /// orders agree.
    std::vector<int> vtkOrder;
    std::vector<int> gmshOrder;
};

/// All shapes. They live as long as the program.
ORQ_EXPORT std::span<const ORQExcShape> ORQExcShapes();

/// Null when there is none. Exodus names are matched as the format's readers do: upper or lower
/// case, with or without the number of nodes ("hex", "HEX8", "Hex20"), under the usual other names
/// ("TRISHELL3", "BEAM", "TRUSS", "SPHERE"); triangles and quadrilaterals in space are shells only
/// when they are called so.
ORQ_EXPORT const ORQExcShape* ORQExcFindShapeByExodusName(std::string_view name, int nNodes);
/// Finds a shape by a type of Gmsh or of VTK: the plane element, where a shell has the type too.
ORQ_EXPORT const ORQExcShape* ORQExcFindShapeByGmshType(int type);
ORQ_EXPORT const ORQExcShape* ORQExcFindShapeByVtkType(int type);
ORQ_EXPORT const ORQExcShape* ORQExcFindShapeByName(std::string_view name);

/// Centroid of the corners, and length, area or volume by the corners (0 for a point); a face of
/// four corners counts as four triangles about its middle. `corners` holds nCorners points of three
/// coordinates, in the model's length unit.
struct ORQExcMeasure {
    double centroid[3];
    double size;
};
ORQ_EXPORT ORQExcMeasure ORQExcMeasureOf(const ORQExcShape& shape, std::span<const double> corners);

/// The part of a side's area (or an edge's length) that belongs to each of its nodes: the corners'
/// quarters or thirds, by the middles of its edges and its own. They add up to the whole. Nodes
/// that are no corners share in it by the same construction. `nodes` holds three coordinates for
/// each of the side's nodes, `shares` one number for each.
ORQ_EXPORT void ORQExcTributaryShares(const ORQExcShape::Side& side, std::span<const double> nodes,
                                      std::span<double> shares);
