"""Compares values carried to nodes with what VTK makes of the same numbers; ends with 1 where they differ.

compare_with_vtk.py shapes FILE.json
    FILE holds, for each rule of points of a shape, vtk_type, vtk_order (of its nodes), points (their parameters) and
    matrix ([nodes][points]). VTK's shape functions make values at the points of values at the nodes; the matrix has to
    bring them back, as far as its polynomial goes.
compare_with_vtk.py averages CELLS.vtu NODES.vtu
    The cell arrays of the one file, averaged at points by VTK, are the point arrays NAME of the other, or, over the
    cells of a block alone, NAME_BLOCK.
"""
import json
import sys

import numpy
from vtkmodules.util.numpy_support import vtk_to_numpy
from vtkmodules.vtkCommonDataModel import vtkDataObject, vtkGenericCell
from vtkmodules.vtkFiltersCore import vtkCellDataToPointData, vtkThreshold
from vtkmodules.vtkIOXML import vtkXMLUnstructuredGridReader

ROUNDING = 2e-5  # of matrices of floats, whose entries reach 20


def vtk_parameters(vtk_type, point):
    """VTK's parameters of a place: from 0 to 1 in all directions, where ours run from -1 along lines."""
    from_minus_one = {3: 1, 4: 1, 21: 1, 9: 2, 23: 2, 28: 2, 12: 3, 25: 3, 29: 3}.get(vtk_type, 0)
    if vtk_type in (13, 26):  # a triangle by a line
        return [point[0], point[1], (point[2] + 1) / 2]
    return [(x + 1) / 2 if i < from_minus_one else x for i, x in enumerate(point)]


def tried_fields(shape, nodes, count):
    """Values at the nodes that the polynomial of a rule holds: [fields][nodes]."""
    n_nodes, dimension = len(nodes), max(i + 1 for i in range(3) if numpy.ptp(nodes[:, i]) > 0)
    fields = [numpy.ones(n_nodes)]
    if count > 1:
        # Two points in a wedge lie on a line along it.
        fields += list(nodes[:, 2:3].T if shape == "wedge" and count == 2 else nodes[:, :dimension].T)
    if shape in ("line", "quadrilateral", "hexahedron"):
        # A product of polynomials holds all shape functions of their order.
        corners = {"line": 2, "quadrilateral": 4, "hexahedron": 8}[shape]
        if count >= (2 if n_nodes == corners else 3) ** dimension:
            fields += list(numpy.eye(n_nodes))
    return numpy.array(fields)


KINDS = {3: "line", 21: "line", 5: "triangle", 22: "triangle", 9: "quadrilateral", 23: "quadrilateral",
         28: "quadrilateral", 10: "tetrahedron", 24: "tetrahedron", 12: "hexahedron", 25: "hexahedron",
         29: "hexahedron", 13: "wedge", 26: "wedge"}


def compare_shapes(rules):
    tried = set()
    for rule in rules:
        vtk_type = rule["vtk_type"]
        if vtk_type not in KINDS:
            continue
        cell = vtkGenericCell()
        cell.SetCellType(vtk_type)
        n_nodes = cell.GetNumberOfPoints()
        order = rule["vtk_order"] or list(range(n_nodes))
        nodes = numpy.array(cell.GetParametricCoords()[:3 * n_nodes]).reshape(n_nodes, 3)[order]
        functions = []
        for point in rule["points"]:
            values = [0.0] * n_nodes
            cell.InterpolateFunctions(vtk_parameters(vtk_type, point), values)
            functions.append([values[place] for place in order])
        functions = numpy.array(functions)  # [points][nodes]
        fields = tried_fields(KINDS[vtk_type], nodes, len(rule["points"]))
        matrix = numpy.array(rule["matrix"]).reshape(n_nodes, len(rule["points"]))
        error = numpy.abs(fields @ functions.T @ matrix.T - fields).max()
        if error > ROUNDING:
            sys.exit(f"{rule['name']} with {len(rule['points'])} points: the matrix differs from VTK by {error}")
        tried.add((vtk_type, len(rule["points"])))
    if len(tried) < 25:
        sys.exit(f"only {len(tried)} rules were compared")
    print(f"{len(tried)} rules agree")


def read(path):
    reader = vtkXMLUnstructuredGridReader()
    reader.SetFileName(path)
    reader.Update()
    return reader.GetOutput()


def averaged(grid):
    """By the label of the point: VTK's averages of each cell array."""
    average = vtkCellDataToPointData()
    average.SetInputData(grid)
    average.Update()
    data = average.GetOutput().GetPointData()
    names = [grid.GetCellData().GetArrayName(i) for i in range(grid.GetCellData().GetNumberOfArrays())]
    labels = vtk_to_numpy(grid.GetPointData().GetArray("label"))
    return labels, {name: vtk_to_numpy(data.GetArray(name)) for name in names if name != "label"}


def of_block(grid, number):
    threshold = vtkThreshold()
    threshold.SetInputData(grid)
    threshold.SetInputArrayToProcess(0, 0, 0, vtkDataObject.FIELD_ASSOCIATION_CELLS, "block")
    threshold.SetLowerThreshold(number)
    threshold.SetUpperThreshold(number)
    threshold.Update()
    return threshold.GetOutput()


def compare_averages(cells, nodes):
    fields = cells.GetFieldData()
    names = fields.GetAbstractArray("block name")
    numbers = vtk_to_numpy(fields.GetArray("block number"))
    parts = [("", cells)] + [("_" + names.GetValue(i), of_block(cells, number)) for i, number in enumerate(numbers)]
    row_of = {label: i for i, label in enumerate(vtk_to_numpy(nodes.GetPointData().GetArray("label")))}
    n_compared = 0
    for suffix, part in parts:
        labels, arrays = averaged(part)
        rows = [row_of[label] for label in labels]
        for name, wanted in arrays.items():
            given = nodes.GetPointData().GetArray(name + suffix)
            if given is None:
                continue
            given = vtk_to_numpy(given)
            if numpy.isnan(wanted).any():  # VTK averages what is no number as well
                continue
            error = numpy.abs(given[rows] - wanted).max() / max(1e-300, numpy.abs(wanted).max())
            if not error < 1e-12:
                sys.exit(f"{name + suffix} differs from VTK's average by {error} of its largest value")
            if suffix and not numpy.isnan(numpy.delete(given, rows, axis=0)).all():
                sys.exit(f"{name + suffix} has values outside its block")
            n_compared += 1
    if n_compared == 0:
        sys.exit("nothing was compared")
    print(f"{n_compared} arrays agree")


if sys.argv[1] == "shapes":
    with open(sys.argv[2], encoding="utf-8") as file:
        compare_shapes(json.load(file))
else:
    compare_averages(read(sys.argv[2]), read(sys.argv[3]))
