"""Answers the scaled Jacobian of elements as VTK's Verdict has it.

Reads lines "VTK_TYPE x y z x y z ..." and writes one number for each. Exits with status 77 where VTK is absent.
"""

import ctypes
import sys

try:
    from vtkmodules.vtkCommonCore import vtkIdList, vtkPoints
    from vtkmodules.vtkCommonDataModel import VTK_WEDGE, vtkUnstructuredGrid
    from vtkmodules.vtkFiltersVerdict import vtkCellQuality
except ImportError:
    sys.exit(77)


def wedge(coordinates):
    """The filter does not know wedges, the library below it does."""
    for name in ("libvtkverdict-9.1.so.1", "libvtkverdict.so"):
        try:
            of = ctypes.CDLL(name).vtkverdict__wedge_scaled_jacobian
        except (OSError, AttributeError):
            continue
        of.restype = ctypes.c_double
        return of(6, (ctypes.c_double * 18)(*coordinates))
    sys.exit(77)


def other(cell_type, coordinates):
    grid, points, ids = vtkUnstructuredGrid(), vtkPoints(), vtkIdList()
    points.SetDataTypeToDouble()
    for i in range(0, len(coordinates), 3):
        ids.InsertNextId(points.InsertNextPoint(*coordinates[i:i + 3]))
    grid.SetPoints(points)
    grid.InsertNextCell(cell_type, ids)
    quality = vtkCellQuality()
    quality.SetInputData(grid)
    quality.SetQualityMeasureToScaledJacobian()
    quality.Update()
    return quality.GetOutput().GetCellData().GetArray("CellQuality").GetValue(0)


for line in sys.stdin:
    cell_type, *coordinates = line.split()
    coordinates = [float(number) for number in coordinates]
    print(repr(wedge(coordinates) if int(cell_type) == VTK_WEDGE else other(int(cell_type), coordinates)))
