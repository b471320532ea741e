"""Builds the cell links of a mesh of hexahedra with VTK, single-threaded, as often as it is told to.

Arguments: a file with the connectivity as 32-bit integers, eight nodes for each element, and the
number of nodes. Says "ready" once the mesh stands; then answers each line with "done" after
building the links into fresh arrays.
"""

import sys

try:
    import numpy
    from vtkmodules.util.numpy_support import numpy_to_vtk
    from vtkmodules.vtkCommonCore import vtkPoints, vtkSMPTools
    from vtkmodules.vtkCommonDataModel import (
        VTK_HEXAHEDRON,
        vtkCellArray,
        vtkStaticCellLinks,
        vtkUnstructuredGrid,
    )
except ImportError as error:
    sys.exit(f"vtk_links.py: {error}")

vtkSMPTools.SetBackend("Sequential")
nodes = numpy.fromfile(sys.argv[1], dtype=numpy.int32)
points = vtkPoints()
points.SetNumberOfPoints(int(sys.argv[2]))
cells = vtkCellArray()
offsets = numpy.arange(0, nodes.size + 1, 8, dtype=numpy.int32)
cells.SetData(numpy_to_vtk(offsets), numpy_to_vtk(nodes))
mesh = vtkUnstructuredGrid()
mesh.SetPoints(points)
mesh.SetCells(VTK_HEXAHEDRON, cells)
print("ready", flush=True)
for _ in sys.stdin:
    links = vtkStaticCellLinks()
    links.BuildLinks(mesh)
    print("done", flush=True)
