"""What the tests of the Python package share: sample models in a folder of their own."""
import pathlib
import shutil
import tempfile
import unittest

import orqmodel

ROOT = pathlib.Path(__file__).resolve().parents[2]
WING_BOX = ROOT / "examples/wing_box/wing_box.e"
LAYUP = ROOT / "examples/wing_box/wing_box_layup.json"

COORDINATES = [[0, 0, 0], [1, 0, 0], [2, 0, 0], [0, 1, 0], [1, 1, 0], [2, 1, 0]]
NODE_LABELS = [10, 20, 30, 40, 50, 60]
ELEMENTS = [[0, 1, 4, 3], [1, 2, 5, 4]]


def add_plate(m):
    """Two shells of three layers, with labels that are no ordinals."""
    m.add_nodes(COORDINATES, NODE_LABELS)
    m.add_block("plate", "SHELL4", ELEMENTS, labels=[200, 100])
    m.add_node_set("tip", labels=[60, 30])
    m.add_element_set("second", labels=[100])
    m.add_surface("top", [[1, 0], [0, 0]])
    m.sections.add("laminate", [dict(material="carbon", ply="P1", thickness=0.25, angle=45.0),
                                dict(material="carbon", ply="P2", thickness=0.5, angle=0.0),
                                dict(material="carbon", ply="P3", thickness=0.25, angle=45.0)],
                   elements="plate")


class Case(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="orq-python-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def plate(self, name="plate.orq"):
        path = self.folder / name
        with orqmodel.create(path) as m, m.transaction():
            add_plate(m)
            for step, time in (("Load", 1.0), ("Load", 2.0), ("Hold", 3.0)):
                m.fields.add("U", [[node * time, 0, time] for node in range(6)], step=step,
                             time=time)
            m.fields.add("T", [7.0, 8.0], step="Hold", time=3.0, on="element")
            m.fields.add("energy", [5.5], step="Hold", time=3.0, on="model")
            layers = [[[[100 * layer + 10 * point + element] for element in range(2)]
                       for point in range(3)] for layer in range(3)]
            m.fields.add("S", layers, step="Hold", time=3.0, on="element")
        return path

    def wing_box(self):
        path = self.folder / "wing_box.orq"
        orqmodel.convert(WING_BOX, path, layup=LAYUP)
        return path
