"""The interpreter survives every misuse, and each ends in the exception that Python has for it."""
import copy
import os
import pickle
import unittest

import numpy as np

import orqmodel
from support import COORDINATES, Case, add_plate

HUGE = 2**40


def in_transaction(act):
    def run(t):
        with t.scratch.transaction():
            add_plate(t.scratch)
            act(t.scratch)
    return run


def closed(act):
    def run(t):
        t.m.close()
        act(t.m)
    return run


def on_elements(m, values, **options):
    m.fields.add("S", values, on="element", **options)


def recurse(m):
    m.check(progress=lambda done: recurse(m))


# What is done with a test's model `m` (open for reading), empty `scratch` (for writing), or folder.
CASES = [
    # Names, labels and places that are not there.
    (KeyError, lambda t: t.m.node_sets["tipp"]),
    (KeyError, lambda t: t.m.blocks[None]),
    (KeyError, lambda t: t.m.blocks[("plate",)]),
    (IndexError, lambda t: t.m.blocks[7]),
    (IndexError, lambda t: t.m.blocks[-HUGE]),
    (KeyError, lambda t: t.m.element(4711)),
    (KeyError, lambda t: t.m.element(-1)),
    (KeyError, lambda t: t.m.element(HUGE)),
    (AttributeError, lambda t: t.m.element("100")),
    (KeyError, lambda t: t.m.nodes.at([5])),
    (OverflowError, lambda t: t.m.nodes.at([HUGE])),
    (TypeError, lambda t: t.m.nodes.at([1.5])),
    (TypeError, lambda t: t.m.nodes.at(["a"])),
    (ValueError, lambda t: t.m.nodes.at([10, 10])),
    (ValueError, lambda t: t.m.nodes.at(t.m.element_sets["second"])),
    (ValueError, lambda t: list(t.m.nodes.blocks(0))),
    (IndexError, lambda t: t.m.elements[2]),
    # Fields.
    (KeyError, lambda t: t.m.fields["u"]),
    (IndexError, lambda t: t.m.fields["U"][3]),
    (IndexError, lambda t: t.m.fields["U"][-4]),
    (TypeError, lambda t: t.m.fields["U"]["a"]),
    (IndexError, lambda t: t.m.fields["U"].at(step=2)),
    (KeyError, lambda t: t.m.fields["U"].at(step="Hld")),
    (IndexError, lambda t: t.m.fields["U"].at(time=1.5)),
    (ValueError, lambda t: t.m.fields["U"].at(elements=[100])),
    (IndexError, lambda t: t.m.fields["U"].at(layer=0)),
    (ValueError, lambda t: t.m.fields["S"][0]),
    (ValueError, lambda t: t.m.fields["S"].at(layer=0)),
    (IndexError, lambda t: t.m.fields["S"].at(layer=3, point=0)),
    (ValueError, lambda t: t.m.fields["S"].at(layer=0, point="upper")),
    (IndexError, lambda t: t.m.fields["S"].at(layer=0, point=HUGE)),
    (IndexError, lambda t: t.m.fields["S"].at(layer=0, point=0, integration_point=0)),
    # The numbers beneath, past the package's own checks.
    (IndexError, lambda t: t.m._handle.coordinates(-1, 3)),
    (IndexError, lambda t: t.m._handle.coordinates(4, 3)),
    (IndexError, lambda t: t.m._handle.coordinates(0, 7)),
    (IndexError, lambda t: t.m._handle.coordinates_of([6])),
    (IndexError, lambda t: t.m._handle.connectivity(9, 0, 1)),
    (IndexError, lambda t: t.m._handle.connectivity(0, 0, 3)),
    (IndexError, lambda t: t.m._handle.members(orqmodel._core.Kind.NODE, -1)),
    (IndexError, lambda t: t.m._handle.layers(1)),
    (IndexError, lambda t: t.m._handle.layers_at(-1)),
    (IndexError, lambda t: t.m._handle.place_of(99)),
    (IndexError, lambda t: t.m._handle.read_field(0, 99, None, -1, -1, -1)),
    (ValueError, lambda t: t.m._handle.read_field(1, 0, None, -5, -1, -1)),
    (TypeError, lambda t: t.m._handle.labels(0)),
    (TypeError, lambda t: orqmodel._core.Handle()),
    # Checking.
    (ValueError, lambda t: t.m.check(only=["NOPE"])),
    (TypeError, lambda t: t.m.check(only="ELM")),
    (ValueError, lambda t: t.m.check(limits={"ELM001": 1, "NOPE": 2})),
    (ZeroDivisionError, lambda t: t.m.check(progress=lambda done: 1 / 0)),
    (TypeError, lambda t: t.m.check(progress=5)),
    # Callbacks that take the model from under the call, and what is none.
    *[(ValueError, lambda t, call=call, act=act: call(t.m, lambda done: act(t.m)))
      for call in (lambda m, hit: m.verify(progress=hit), lambda m, hit: m.check(progress=hit),
                   lambda m, hit: orqmodel._core.export_from(m._handle, m.path + ".e", False, True,
                                                             hit))
      for act in (lambda m: m.close(), lambda m: m.refresh(),
                  lambda m: m.transaction().__enter__(), lambda m: m._handle.undo())],
    (ValueError, in_transaction(lambda m: m.check(progress=lambda done: m._handle.commit()))),
    (ValueError, in_transaction(lambda m: m.check(progress=lambda done: m.fields.add(
        "U", [1.0] * 6)))),
    (RecursionError, lambda t: recurse(t.m)),
    (TypeError, lambda t: orqmodel._core.Handle.__new__(orqmodel._core.Handle)),
    (TypeError, lambda t: object.__new__(orqmodel._core.Handle)),
    (TypeError, lambda t: type(t.m._handle).__mro__[1].__new__(orqmodel._core.Handle)),
    (TypeError, lambda t: orqmodel._core.Draft()),
    (TypeError, lambda t: orqmodel._core.Draft.__new__(orqmodel._core.Draft)),
    (TypeError, lambda t: copy.copy(t.m)),
    (TypeError, lambda t: copy.deepcopy(t.m.fields["U"])),
    (TypeError, lambda t: pickle.dumps(t.m)),
    (TypeError, lambda t: pickle.dumps(t.m.fields["U"].at())),
    (TypeError, lambda t: pickle.dumps(t.m.element(100))),
    (KeyError, lambda t: t.m.node_sets["ti\0p"]),
    (KeyError, lambda t: t.m.node_sets["\udc80"]),
    (IndexError, lambda t: t.m.blocks[np.int64(1)]),
    (IndexError, lambda t: t.m.elements[-HUGE]),
    (IndexError, lambda t: t.m.fields["U"][np.nan]),
    (TypeError, lambda t: t.m.fields["U"][1.0]),
    (TypeError, lambda t: t.m.nodes.at([np.nan])),
    (TypeError, lambda t: t.m.nodes.at([True])),
    (TypeError, lambda t: t.m.nodes.at([None])),
    (OverflowError, lambda t: t.m.nodes.at(np.array([2**63], dtype=np.uint64))),
    (ValueError, lambda t: t.m._handle.read_field(1, 0, None, 2**31 - 1, -1, -1)),
    # Files.
    (ValueError, lambda t: orqmodel.open("a\0b.orq")),
    (ValueError, lambda t: orqmodel.create(str(t.folder / "a.orq\0b"))),
    (ValueError, lambda t: orqmodel.convert(t.folder / "plate.orq", str(t.folder / "a.e\0b.e"))),
    (TypeError, lambda t: orqmodel.open(5)),
    (FileNotFoundError, lambda t: orqmodel.open(t.folder / "none.orq")),
    (FileNotFoundError, lambda t: orqmodel.convert(t.folder / "none.e", t.folder / "x.orq")),
    (FileExistsError, lambda t: orqmodel.create(t.folder / "plate.orq")),
    (ValueError, lambda t: orqmodel.open(t.folder / "plate.orq", "w")),
    (orqmodel.ForeignError, lambda t: orqmodel.open(t.folder)),
    (ValueError, lambda t: orqmodel.convert(t.folder / "plate.orq", t.folder / "x.docx")),
    (orqmodel.BusyError, lambda t: orqmodel.open(t.folder / "scratch.orq", "r+")),
    (orqmodel.FormatError, lambda t: orqmodel.convert(__file__, t.folder / "x.orq")),
    # Writing where it may not be.
    (ValueError, lambda t: t.m.add_nodes(COORDINATES)),
    (ValueError, lambda t: t.m.transaction().__enter__()),
    (ValueError, lambda t: t.scratch.add_nodes(COORDINATES)),
    (ValueError, lambda t: t.scratch.fields.add("U", [1.0])),
    (ValueError, in_transaction(lambda m: m.transaction().__enter__())),
    # Meshes that are none.
    (ValueError, in_transaction(lambda m: m.add_nodes([1, 2, 3]))),
    (ValueError, in_transaction(lambda m: m.add_nodes([[0, 0]]))),
    (ValueError, in_transaction(lambda m: m.add_nodes([[0, 0, np.nan]]))),
    (ValueError, in_transaction(lambda m: m.add_nodes([[0, 0, 0]], [0]))),
    (ValueError, in_transaction(lambda m: m.add_nodes([[0, 0, 0]], [1, 2]))),
    (ValueError, in_transaction(lambda m: m.add_nodes([[0, 0, 0]], [10]))),
    (OverflowError, in_transaction(lambda m: m.add_nodes([[0, 0, 0]], [HUGE]))),
    (ValueError, in_transaction(lambda m: m.add_block("plate", "SHELL4", [[0, 1, 2, 3]]))),
    (ValueError, in_transaction(lambda m: m.add_block("b", "SHELL5", [[0, 1, 2, 3]]))),
    (ValueError, in_transaction(lambda m: m.add_block("b", "SHELL4", [[0, 1, 2]]))),
    (ValueError, in_transaction(lambda m: m.add_block("b", "SHELL4", [[0, 1, 2, 6]]))),
    (ValueError, in_transaction(lambda m: m.add_block("b", "SHELL4", [[0, 1, 2, -1]]))),
    (TypeError, in_transaction(lambda m: m.add_block("b", "SHELL4", [[0.5, 1, 2, 3]]))),
    (TypeError, in_transaction(lambda m: m.add_block(3, "SHELL4", [[0, 1, 2, 3]]))),
    (ValueError, in_transaction(lambda m: m.add_node_set("tip", [0]))),
    (ValueError, in_transaction(lambda m: m.add_node_set("", [0]))),
    (ValueError, in_transaction(lambda m: m.add_node_set("s", [6]))),
    (ValueError, in_transaction(lambda m: m.add_node_set("s"))),
    (KeyError, in_transaction(lambda m: m.add_node_set("s", labels=[11]))),
    (ValueError, in_transaction(lambda m: m.add_surface("s", [[0, 99]]))),
    (ValueError, in_transaction(lambda m: m.add_surface("s", [0, 1, 2]))),
    (ValueError, in_transaction(lambda m: m.sections.add("laminate", [], elements="plate"))),
    (ValueError, in_transaction(lambda m: (m.sections.add("l", [], elements="none"), m.title))),
    (ValueError, in_transaction(lambda m: m.sections.add("l", [dict(thickness=1.0)],
                                                         elements="plate"))),
    (ValueError, in_transaction(lambda m: m.sections.add(
        "l", [dict(thickness=np.inf, angle=0.0)], elements="plate"))),
    # Fields that are none.
    (ValueError, in_transaction(lambda m: m.fields.add("U", [[1, 2, 3]] * 5))),
    (ValueError, in_transaction(lambda m: m.fields.add("U", [[]] * 6))),
    (ValueError, in_transaction(lambda m: m.fields.add("", [1.0] * 6))),
    (ValueError, in_transaction(lambda m: m.fields.add("U", [1.0] * 6, step=""))),
    (ValueError, in_transaction(lambda m: m.fields.add("U", [1.0] * 6, on="nodes"))),
    (ValueError, in_transaction(lambda m: m.fields.add("U", [1.0] * 6, time=np.nan))),
    (IndexError, in_transaction(lambda m: m.fields.add("U", [1.0], members=[6]))),
    (ValueError, in_transaction(lambda m: m.fields.add("U", [1.0, 2.0], members=[1, 1]))),
    (KeyError, in_transaction(lambda m: m.fields.add("U", [1.0], labels=[1]))),
    (ValueError, in_transaction(lambda m: m.fields.add("U", np.zeros((2, 3, 6, 1))))),
    (TypeError, in_transaction(lambda m: m.fields.add("U", [["a"]] * 6))),
    (TypeError, in_transaction(lambda m: m.fields.add("U", ["1.5"] * 6))),
    (TypeError, in_transaction(lambda m: m.fields.add("U", [1j] * 6))),
    (TypeError, in_transaction(lambda m: m.add_nodes([["1", "2", "3"]]))),
    # Points and layers.
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((2, 4)), points="corners"))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((2, 3)), points="nodes"))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((2, 5)), points="faces"))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((3, 4)), points="nodes"))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((2, 0, 1)), points="nodes"))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((3, 2, 2, 4)), points="nodes"))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((0, 1, 2, 1))))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((1, 0, 2, 1))))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((4, 3, 2, 1))))),  # of 3 layers
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((1, 1, 1, 1, 2, 1))))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.float64(1.0)))),
    (ValueError, in_transaction(lambda m: on_elements(m, np.zeros((HUGE, 1, 0, 1)), members=[]))),
    (ValueError, in_transaction(lambda m: m.fields.add("S", np.zeros((6, 4)), points="nodes"))),
    (ValueError, in_transaction(lambda m: (on_elements(m, np.zeros((2, 4)), points="nodes"),
                                           on_elements(m, np.zeros((2, 4)),
                                                       points="integration points")))),
    (ValueError, in_transaction(lambda m: (on_elements(m, np.zeros((2, 4)), points="nodes"),
                                           on_elements(m, np.zeros(2))))),
    (ValueError, in_transaction(lambda m: on_elements(
        m, np.broadcast_to(0.0, (2**14, 2**14, 2, 1))[:, :1, :, :], time=np.inf))),
    (ValueError, in_transaction(lambda m: (m.fields.add("U", [1.0] * 6),
                                           m.fields.add("U", [[1.0, 2.0]] * 6)))),
    (ValueError, in_transaction(lambda m: (m.title, m.add_nodes(COORDINATES), m.title))),
    # Use of what is closed.
    *[(ValueError, closed(act)) for act in (
        lambda m: m.nodes.coordinates, lambda m: len(m.nodes), lambda m: m.blocks["plate"],
        lambda m: list(m.node_sets), lambda m: m.element(100), lambda m: m.fields["U"],
        lambda m: m.check(), lambda m: m.verify(), lambda m: m.refresh(), lambda m: m.job.status(),
        lambda m: m.transaction().__enter__(), lambda m: m.path, lambda m: m.steps,
        lambda m: m.to_meshio(), lambda m: m.add_nodes(COORDINATES))],
]


class Misuse(Case):
    def test_every_case(self):
        path = self.plate()
        for number, (expected, act) in enumerate(CASES):
            with self.subTest(number=number, line=act.__code__.co_firstlineno):
                scratch = self.folder / "scratch.orq"
                self.scratch = orqmodel.create(scratch)
                self.m = orqmodel.open(path)
                try:
                    with self.assertRaises(expected) as raised:
                        act(self)
                    self.assertTrue(str(raised.exception))
                finally:
                    self.scratch.close()
                    self.m.close()
                    scratch = scratch.rename(self.folder / f"{number}.orq")
                with orqmodel.open(scratch) as left:
                    self.assertEqual(len(left.nodes), 0)
                    self.assertEqual(left.verify(), [])

    def test_objects_outlive_their_model(self):
        m = orqmodel.open(self.plate())
        u, tip, element = m.fields["U"], m.node_sets["tip"], m.element(100)
        del m
        self.assertEqual(len(u[-1]), 6)  # they hold it
        u._model.close()
        for act in (lambda: u[-1], lambda: tip.labels, lambda: element.plies):
            with self.assertRaises(ValueError):
                act()

    def test_near_names_are_told(self):
        with orqmodel.open(self.plate()) as m:
            with self.assertRaisesRegex(KeyError, "near are 'tip'"):
                m.node_sets["tpi"]

    def test_a_damaged_file_is_said_to_be_damaged(self):
        path = self.wing_box()  # small arrays are not in this file
        with open(path / "bulk.bin", "r+b") as file:
            content = file.read()
            file.seek(4096)
            file.write(bytes(255 - byte for byte in content[4096:]))
        with orqmodel.open(path) as m:
            with self.assertRaises(orqmodel.DamagedError):
                m.nodes.coordinates
            self.assertTrue(m.verify())

    @unittest.skipIf(os.geteuid() == 0, "root may read all")
    def test_a_permission_that_lacks(self):
        path = self.plate()
        os.chmod(path / "catalogue.sqlite", 0)
        with self.assertRaises(PermissionError):
            orqmodel.open(path)

    def test_a_child_is_refused_and_the_parent_goes_on(self):
        with orqmodel.open(self.plate()) as m:
            child = os.fork()
            if child == 0:
                try:
                    m.nodes.coordinates
                except orqmodel.RefusedError:
                    os._exit(7)
                os._exit(1)
            self.assertEqual(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]), 7)
            self.assertEqual(len(m.nodes.coordinates), 6)


if __name__ == "__main__":
    unittest.main(verbosity=1)
