"""What is in a model reads as it was written, and as the field's other readers see it."""
import ast
import doctest
import gc
import inspect
import os
import subprocess
import sys
import unittest

import numpy as np

import orqmodel
from support import COORDINATES, ELEMENTS, NODE_LABELS, ROOT, WING_BOX, Case


class Reading(Case):
    def test_a_model_reads_as_it_was_written(self):
        with orqmodel.open(self.plate()) as m:
            np.testing.assert_array_equal(m.nodes.coordinates, COORDINATES)
            self.assertEqual(m.nodes.coordinates.dtype, np.float64)
            np.testing.assert_array_equal(m.nodes.labels, NODE_LABELS)
            np.testing.assert_array_equal(m.blocks["plate"].connectivity, ELEMENTS)
            np.testing.assert_array_equal(m.blocks["plate"].labels, [200, 100])
            self.assertEqual(m.blocks["plate"].shape, "SHELL4")
            np.testing.assert_array_equal(m.node_sets["tip"].labels, [60, 30])
            np.testing.assert_array_equal(m.element_sets["second"].members, [1])
            self.assertEqual(sorted(m.surfaces["top"].labels), [100, 200])
            np.testing.assert_array_equal(m.nodes.at(m.node_sets["tip"]), [[2, 1, 0], [2, 0, 0]])
            np.testing.assert_array_equal(m.nodes.at([20]), [[1, 0, 0]])
            self.assertEqual([element.label for element in m.elements[::-1]], [100, 200])
            self.assertEqual(m.blocks[np.int64(-1)].name, "plate")

    def test_layers_and_plies(self):
        with orqmodel.open(self.plate()) as m:
            layers = m.sections["laminate"].layers
            self.assertEqual([layer.angle for layer in layers], [45, 0, 45])
            self.assertEqual(m.element(100).plies, layers)
            self.assertEqual(m.element(100).plies[1].ply, "P2")
            self.assertEqual(m.element(100).section.name, "laminate")
            np.testing.assert_array_equal(m.element(200).nodes, [10, 20, 50, 40])
            self.assertEqual(m.materials[0].name, "carbon")

    def test_values_that_vary_are_those_of_the_element(self):
        with orqmodel.open(self.wing_box()) as m:
            varying = 0
            for section in m.sections.values():
                labels = section.labels
                for place, layer in enumerate(section.layers):
                    for name in ("thickness", "angle"):
                        value = getattr(layer, name)
                        if isinstance(value, np.ndarray):
                            varying += 1
                            for k in (0, len(labels) // 2, len(labels) - 1):
                                ply = m.element(int(labels[k])).plies[place]
                                self.assertEqual(getattr(ply, name), value[k])
            self.assertGreater(varying, 0)

    def test_fields_by_time_step_set_and_layer(self):
        with orqmodel.open(self.plate()) as m:
            u = m.fields["U"]
            np.testing.assert_array_equal(u.times, [1, 2, 3])
            self.assertEqual(u.components, ("U1", "U2", "U3"))
            self.assertEqual(u.identifier, "U_D")
            np.testing.assert_array_equal(u[-1][:, 0], [0, 3, 6, 9, 12, 15])
            np.testing.assert_array_equal(u.at(step="Load")[:, 2], [2] * 6)
            np.testing.assert_array_equal(u.at(step=0, time=1.0)[:, 2], [1] * 6)
            tip = u.at(step=1, nodes=m.node_sets["tip"])
            np.testing.assert_array_equal(tip, [[15, 0, 3], [6, 0, 3]])
            np.testing.assert_array_equal(tip.labels, [60, 30])
            self.assertEqual(m.fields["energy"][0][0, 0], 5.5)
            s = m.fields["S"]
            np.testing.assert_array_equal(s.at(layer=2, point="top")[:, 0], [220, 221])
            np.testing.assert_array_equal(s.at(layer=-1, point=0, elements=[100]), [[201]])
            self.assertEqual([len(values) for _, values in u.blocks(size=4)], [4, 2])

    def test_pieces_make_the_whole(self):
        with orqmodel.open(self.wing_box()) as m:
            np.testing.assert_array_equal(
                np.concatenate([xyz for _, xyz in m.nodes.blocks(100)]), m.nodes.coordinates)
            for block in m.blocks.values():
                np.testing.assert_array_equal(
                    np.concatenate([nodes for _, nodes in block.blocks(7)]), block.connectivity)

    def test_an_independent_reader_sees_the_same_coordinates_and_connectivity(self):
        try:
            import meshio
            import netCDF4  # noqa: F401
        except ImportError:
            self.skipTest("meshio or netCDF4 is not there")
        with orqmodel.open(self.wing_box()) as m:
            mesh = meshio.read(WING_BOX)
            np.testing.assert_allclose(m.nodes.coordinates, mesh.points)
            ours = m.to_meshio()
            self.assertEqual([cells.type for cells in ours.cells],
                             [cells.type for cells in mesh.cells])
            for mine, theirs in zip(ours.cells, mesh.cells):
                np.testing.assert_array_equal(mine.data, theirs.data)

    def test_a_grid_for_pyvista(self):
        try:
            import pyvista  # noqa: F401
        except ImportError:
            self.skipTest("pyvista is not there")
        with orqmodel.open(self.wing_box()) as m:
            self.assertEqual(m.to_pyvista().n_points, len(m.nodes))

    def test_tables_for_pandas(self):
        try:
            import pandas  # noqa: F401
        except ImportError:
            self.skipTest("pandas is not there")
        with orqmodel.open(self.plate()) as m:
            layers = m.sections["laminate"].layers.to_pandas()
            self.assertEqual(list(layers["thickness"]), [0.25, 0.5, 0.25])
            values = m.fields["S"].at(step=-1, layer=1, point="middle").to_pandas()
            self.assertEqual(dict(values["S"]), {200: 110.0, 100: 111.0})

    def test_the_first_program_runs(self):
        program = ROOT / "examples/hello_model/hello_model.py"
        said = subprocess.run([sys.executable, program, self.folder / "hello.orq"], check=True,
                              capture_output=True, text=True).stdout.splitlines()
        self.assertEqual(said[:2], ["6 nodes, root of 2, 3 layers", "U1 of the last node: 2"])
        self.assertTrue(any(line.startswith("LAY007 ") for line in said[2:]), said)
        with orqmodel.open(self.folder / "hello.orq") as m:
            self.assertEqual(m.verify(), [])

    def test_the_examples_of_the_docstrings(self):
        failed, tried = doctest.testmod(orqmodel)
        self.assertEqual(failed, 0)
        self.assertGreater(tried, 3)


class Stubs(Case):
    def test_the_stubs_name_what_there_is(self):
        from orqmodel import _convert, _fields, _mesh, _model, _named, _sections
        stub = ast.parse((ROOT / "python/orqmodel/__init__.pyi").read_text())
        modules = (orqmodel, _model, _convert, _fields, _mesh, _named, _sections)
        named = [node for node in stub.body if isinstance(node, (ast.ClassDef, ast.FunctionDef))]
        self.assertLessEqual(set(orqmodel.__all__), {node.name for node in named})
        with orqmodel.open(self.plate()) as m:
            things = {"Model": m, "Nodes": m.nodes, "Block": m.blocks[0], "Field": m.fields["U"],
                      "MemberSet": m.node_sets[0], "Surface": m.surfaces[0],
                      "Element": m.element(100), "Section": m.sections[0], "Sections": m.sections,
                      "Values": m.fields["U"].at(), "Fields": m.fields, "Job": m.job,
                      "Findings": m.check()}
            for node in named:
                found = [getattr(module, node.name) for module in modules
                         if hasattr(module, node.name)]
                self.assertTrue(found, node.name)
                if isinstance(node, ast.FunctionDef):
                    parameters = [a.arg for a in node.args.args + node.args.kwonlyargs]
                    self.assertEqual(parameters, list(inspect.signature(found[0]).parameters))
                    continue
                thing = things.get(node.name, found[0])
                for inner in node.body:
                    name = (inner.name if isinstance(inner, ast.FunctionDef) else
                            inner.target.id if isinstance(inner, ast.AnnAssign) else None)
                    if name and (node.name, name) != ("FormatError", "report"):
                        self.assertTrue(hasattr(thing, name), f"{node.name}.{name}")


class Memory(Case):
    def test_an_array_is_read_only_and_there_once(self):
        with orqmodel.open(self.plate()) as m:
            xyz = m.nodes.coordinates
            self.assertIs(m.nodes.coordinates, xyz)
            with self.assertRaises(ValueError):
                xyz[0, 0] = 1
        np.testing.assert_array_equal(xyz, COORDINATES)  # stays whole when the model is closed

    def large(self):
        """Of several chunks."""
        xyz = np.random.default_rng(1).random((250_000, 3))
        path = self.folder / "large.orq"
        with orqmodel.create(path) as m, m.transaction():
            m.add_nodes(xyz)
            m.add_block("bars", "BAR2", np.stack([np.arange(249_999), np.arange(1, 250_000)], 1))
            m.fields.add("U", xyz, time=1.0)
            m.fields.add("U", xyz + 1, time=2.0)
        return path, xyz

    def test_arrays_are_views_of_the_file(self):
        path, xyz = self.large()

        def mapped():  # bytes of the file that are mapped here and there
            with open("/proc/self/maps") as file:
                return sum(1 for line in file if "bulk.bin" in line)

        with orqmodel.open(path) as m:
            before = m._handle.n_views
            held = [m.nodes.coordinates, m.blocks["bars"].connectivity, m.fields["U"][0],
                    m.fields["U"][-1]]
            self.assertEqual(m._handle.n_views - before, len(held))
            np.testing.assert_array_equal(held[0], xyz)
            np.testing.assert_array_equal(held[1][:, 1], np.arange(1, 250_000))
            np.testing.assert_array_equal(held[2], xyz)
            np.testing.assert_array_equal(held[3], xyz + 1)
            some = np.concatenate([part for _, part in m.nodes.blocks(70_000)])
            np.testing.assert_array_equal(some, xyz)
            self.assertGreater(mapped(), len(held))
            del held, some
            gc.collect()
            self.assertEqual(m._handle.n_views, before)

    def test_a_view_brings_no_copy(self):
        path, xyz = self.large()
        code = ("import sys, numpy, orqmodel\n"
                "def anonymous():\n"
                "    with open('/proc/self/smaps_rollup') as file:\n"
                "        return [int(l.split()[1]) for l in file if l.startswith('Anonymous:')][0]\n"
                "m = orqmodel.open(sys.argv[1], sys.argv[2])\n"
                "len(m.nodes), numpy.zeros(1)\n"
                "before = anonymous(); xyz = m.nodes.coordinates; xyz.sum()\n"
                "print(anonymous() - before)\n")

        def growth(mode):
            return int(subprocess.run([sys.executable, "-c", code, path, mode], check=True,
                                      capture_output=True, text=True).stdout)
        self.assertLess(growth("r"), 1000)  # KiB
        self.assertGreater(growth("r+"), xyz.nbytes / 1024 * 0.9)  # a writer copies

    def test_a_view_keeps_its_state_and_says_when_the_model_is_closed_under_it(self):
        path = self.plate()
        reader = orqmodel.open(path)
        u = reader.fields["U"][-1]
        coordinates = reader.nodes.coordinates
        kept, files = u.copy(), len(os.listdir("/proc/self/fd"))
        with orqmodel.open(path, "r+") as writer:
            for k in range(20):  # what is freed is written over unless somebody sees it
                with writer.transaction():
                    writer.fields.add("U", [[k, k, k]] * 6, step="Hold", time=3.0)
                self.assertTrue(reader.refresh())
                self.assertEqual(reader.fields["U"][-1][0, 0], k)
                np.testing.assert_array_equal(u, kept)
        with self.assertWarnsRegex(ResourceWarning, "views of it are in use"):
            reader.close()
        np.testing.assert_array_equal(u, kept)
        np.testing.assert_array_equal(coordinates, COORDINATES)
        del u, coordinates, reader
        gc.collect()
        self.assertLess(len(os.listdir("/proc/self/fd")), files)

    def test_a_thousand_models_opened_and_closed_leave_nothing(self):
        path = self.plate()

        def resident():
            with open("/proc/self/statm") as file:
                return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")

        def look(times):
            for _ in range(times):
                with orqmodel.open(path) as m:
                    m.nodes.coordinates, m.element(100).plies, m.fields["U"][-1]
                    m.node_sets["tip"].labels
            gc.collect()

        look(100)
        files, before = len(os.listdir("/proc/self/fd")), resident()
        look(1000)
        self.assertEqual(len(os.listdir("/proc/self/fd")), files)
        self.assertLess(resident() - before, 4 << 20)

    def test_the_import_brings_no_numpy(self):
        loaded = subprocess.run([sys.executable, "-c", "import sys, orqmodel; "
                                 "print(any(n in sys.modules for n in ('numpy', 'pandas')))"],
                                capture_output=True, text=True, check=True)
        self.assertEqual(loaded.stdout.strip(), "False")


if __name__ == "__main__":
    unittest.main(verbosity=1)
