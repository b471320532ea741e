"""Prints what VTK itself reads from a VTU file, as JSON.

points, cells (nodes of each), types, point_data, cell_data (lists by name), size (the sum of the cells'
lengths, areas and volumes, of first order only; the filter takes wedges for inside out) and off_middle: how far, over the size of its element, a node that VTK takes for
the middle of an edge or a face lies from the mean of the corners there, at most. Zero only when the nodes of a
straight-sided element stand in VTK's order.
"""
import json
import sys

from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkFiltersVerdict import vtkCellSizeFilter
from vtkmodules.vtkIOXML import vtkXMLUnstructuredGridReader

reader = vtkXMLUnstructuredGridReader()
reader.SetFileName(sys.argv[1])
reader.Update()
if reader.GetErrorCode() != 0:
    sys.exit(f"VTK error {reader.GetErrorCode()}")
grid = reader.GetOutput()


def arrays(attributes):
    return {attributes.GetArrayName(i): numbers(vtk_to_numpy(attributes.GetArray(i)).tolist())
            for i in range(attributes.GetNumberOfArrays())}


def numbers(values):
    """The same with null for what is not a number, which JSON does not have."""
    if isinstance(values, list):
        return [numbers(value) for value in values]
    return None if values != values else values


def distance(a, b):
    return sum((x - y) ** 2 for x, y in zip(a, b)) ** 0.5


def middles(cell):
    """For each boundary of the cell with a middle of its own: the middle and the corners."""
    for boundaries, count in ((cell.GetEdge, cell.GetNumberOfEdges()), (cell.GetFace, cell.GetNumberOfFaces())):
        for i in range(count):
            points = boundaries(i).GetPoints()
            points = [points.GetPoint(k) for k in range(points.GetNumberOfPoints())]
            if len(points) == 3 and boundaries == cell.GetEdge:
                yield points[2], points[:2]
            if len(points) == 9:
                yield points[8], points[:4]


def off_middle(cell):
    pairs = list(middles(cell))
    corners = {(2, 7): 3, (2, 9): 4, (3, 27): 8}.get((cell.GetCellDimension(), cell.GetNumberOfPoints()))
    if corners is not None:
        points = [cell.GetPoints().GetPoint(k) for k in range(cell.GetNumberOfPoints())]
        pairs.append((points[-1], points[:corners]))
    return max((distance(middle, [sum(x) / len(x) for x in zip(*corners)]) for middle, corners in pairs),
               default=0) / max(cell.GetLength2() ** 0.5, 1e-300)


sizes = vtkCellSizeFilter()
sizes.SetInputData(grid)
sizes.Update()
sizes = arrays(sizes.GetOutput().GetCellData())
nodes = []
worst = 0.0
for number in range(grid.GetNumberOfCells()):
    cell = grid.GetCell(number)
    nodes.append([cell.GetPointId(k) for k in range(cell.GetNumberOfPoints())])
    worst = max(worst, off_middle(cell))
print(json.dumps({
    "points": [grid.GetPoint(i) for i in range(grid.GetNumberOfPoints())],
    "cells": nodes,
    "types": [grid.GetCellType(i) for i in range(grid.GetNumberOfCells())],
    "point_data": arrays(grid.GetPointData()),
    "cell_data": arrays(grid.GetCellData()),
    "size": {kind: sum(abs(size) for number, size in enumerate(sizes[kind]) if grid.GetCellType(number) < 21)
             for kind in ("Length", "Area", "Volume")},
    "off_middle": worst,
}))
