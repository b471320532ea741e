"""Meshes for other packages."""
import numpy

# By type of VTK; meshio has its orders of nodes.
_MESHIO_NAMES = {1: "vertex", 3: "line", 5: "triangle", 9: "quad", 10: "tetra", 12: "hexahedron",
                 13: "wedge", 14: "pyramid", 21: "line3", 22: "triangle6", 23: "quad8",
                 24: "tetra10", 25: "hexahedron20", 26: "wedge15", 27: "pyramid13", 28: "quad9",
                 29: "hexahedron27", 32: "wedge18", 34: "triangle7"}


def _cells(model):
    """(type of VTK, connectivity in the order of VTK) of every block."""
    for block in model.blocks.values():
        nodes, order = block.connectivity, block.vtk_order
        if order:
            turned = numpy.empty_like(nodes)
            turned[:, order] = nodes
            nodes = turned
        yield block.vtk_type, nodes


def _meshio_name(vtk_type):
    if vtk_type not in _MESHIO_NAMES:
        raise ValueError(f"meshio has no cells of VTK's type {vtk_type}")
    return _MESHIO_NAMES[vtk_type]


def _points(model):
    points = model.nodes.coordinates
    if points.shape[1] == 2:
        points = numpy.column_stack([points, numpy.zeros(len(points))])
    return points


def to_meshio(model):
    import meshio
    cells = [(_meshio_name(vtk_type), nodes) for vtk_type, nodes in _cells(model)]
    sets = {name: model.node_sets[name].members for name in model.node_sets}
    return meshio.Mesh(_points(model), cells, point_sets=sets,
                       point_data={"label": model.nodes.labels})


def to_pyvista(model):
    import pyvista
    cells, types = [], []
    for vtk_type, nodes in _cells(model):
        sizes = numpy.full((len(nodes), 1), nodes.shape[1], dtype=numpy.int64)
        cells.append(numpy.hstack([sizes, nodes]).ravel())
        types.append(numpy.full(len(nodes), vtk_type, dtype=numpy.uint8))
    grid = pyvista.UnstructuredGrid(numpy.concatenate(cells), numpy.concatenate(types),
                                    _points(model))
    grid.point_data["label"] = model.nodes.labels
    return grid
