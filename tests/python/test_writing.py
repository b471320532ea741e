"""Transactions hold what they promise, and conversions leave whole files or none."""
import os
import signal
import subprocess
import sys
import threading
import unittest

import numpy as np

import orqmodel
from support import COORDINATES, LAYUP, WING_BOX, Case, add_plate


class Stop(Exception):
    pass


class Transactions(Case):
    def test_an_exception_undoes_all(self):
        path = self.folder / "x.orq"
        with orqmodel.create(path) as m:
            with self.assertRaises(Stop), m.transaction():
                add_plate(m)
                m.fields.add("U", [[0, 0, 0]] * 6)
                self.assertEqual(len(m.nodes), 6)
                raise Stop
            self.assertEqual(len(m.nodes), 0)
            with m.transaction():
                add_plate(m)
            self.assertEqual(len(m.nodes), 6)
        with orqmodel.open(path) as m:
            self.assertEqual(len(m.nodes), 6)
            self.assertEqual(list(m.fields), [])
            self.assertEqual(m.verify(), [])

    def test_closing_within_a_transaction_undoes_it(self):
        path = self.folder / "x.orq"
        with self.assertRaises(ValueError), orqmodel.create(path) as m, m.transaction():
            m.add_nodes(COORDINATES)
            m.close()
        with orqmodel.open(path) as m:
            self.assertEqual(len(m.nodes), 0)

    def test_a_later_time_is_added_to_a_field(self):
        path = self.plate()
        with orqmodel.open(path, "r+") as m, m.transaction():
            m.fields.add("U", [[9, 9, 9]] * 6, step="Hold", time=4.0)
            m.fields.add("U", [[8, 8, 8]], step="Hold", time=5.0, labels=[60])
        with orqmodel.open(path) as m:
            self.assertEqual(list(m.fields["U"].times), [1, 2, 3, 4, 5])
            self.assertEqual(m.fields["U"].at(nodes=[60])[0, 0], 8)
            self.assertTrue(m.fields["U"][-1][0, 0] != m.fields["U"][-1][0, 0])  # NaN: no value
            self.assertEqual(m.verify(), [])

    def test_values_at_points_read_back(self):
        path = self.plate()
        rng = np.random.default_rng(2)
        at_points = rng.random((2, 4, 3))  # [element][point][component]
        at_nodes = rng.random((2, 4))
        in_layers = rng.random((3, 2, 2, 4, 3))  # [layer][section point][element][point][component]
        with orqmodel.open(path, "r+") as m, m.transaction():
            m.fields.add("E", at_points, step="Hold", time=3.0, on="element",
                         points="integration points", components=["E11", "E22", "E12"])
            m.fields.add("N", at_nodes, step="Hold", time=3.0, on="element", points="nodes")
            m.fields.add("F", rng.random((1, 6)), step="Hold", time=3.0, on="element",
                         points="faces", labels=[100])
            m.fields.add("P", np.asfortranarray(in_layers), step="Hold", time=3.0, on="element",
                         points="integration points")
            m.fields.add("P", in_layers[:1, :, ::-1][:, :, 1:], step="Hold", time=4.0,
                         on="element", points="integration points", labels=[100])
        with orqmodel.open(path) as m:
            e, n, p = m.fields["E"], m.fields["N"], m.fields["P"]
            self.assertEqual((e.extents, n.extents, p.extents), ((0, 0, 4), (0, 0, 4), (3, 2, 4)))
            np.testing.assert_allclose(e.at(step="Hold").values, at_points.mean(axis=1))
            for point in range(4):
                np.testing.assert_array_equal(e.at(step="Hold", integration_point=point),
                                              at_points[:, point])
                np.testing.assert_array_equal(n.at(integration_point=point)[:, 0],
                                              at_nodes[:, point])
                for layer in range(3):
                    np.testing.assert_array_equal(
                        p.at(time=3.0, layer=layer, point="top", integration_point=point),
                        in_layers[layer, 1, :, point])
            np.testing.assert_array_equal(
                p.at(time=4.0, layer=0, point=0, integration_point=2, elements=[100])[0],
                in_layers[0, 0, 0, 2])
            np.testing.assert_array_equal(
                p.at(time=3.0, layer=2, point=0, integration_point=3, elements=[100])[0],
                in_layers[2, 0, 1, 3])
            self.assertEqual(m.verify(), [])

    def test_what_a_masked_array_hides_is_no_value(self):
        path = self.plate()
        with orqmodel.open(path, "r+") as m, m.transaction():
            m.fields.add("M", np.ma.array([1, 2, 3, 4, 5, 6], mask=[0, 1, 0, 0, 0, 0]))
        with orqmodel.open(path) as m:
            np.testing.assert_array_equal(m.fields["M"].at()[:, 0], [1, np.nan, 3, 4, 5, 6])

    def test_a_reader_moves_when_it_is_refreshed(self):
        path = self.plate()
        with orqmodel.open(path) as reader, orqmodel.open(path, "r+") as writer:
            u = reader.fields["U"]
            before = u[-1]
            with writer.transaction():
                writer.fields.add("A", [1.0] * 6, step="Hold", time=3.0)
            self.assertNotIn("A", reader.fields)
            self.assertTrue(reader.refresh())
            self.assertIn("A", reader.fields)
            self.assertEqual(u[-1].tolist(), before.tolist())  # the object found its field again

    def test_the_job_of_a_model(self):
        with orqmodel.open(self.plate()) as m:
            self.assertEqual(m.job.status(), "none")
            self.assertEqual(m.job.writer, "")


class Conversion(Case):
    def test_the_report_is_an_object(self):
        report = orqmodel.convert(WING_BOX, self.folder / "w.orq", layup=LAYUP)
        self.assertIn(("nodes", 6), {(entry.kind, 6) for entry in report.kept})
        self.assertRegex(str(report), r"^  kind +kept\n  title +1\n  nodes +\d+\n(  .*\n)*  section +5 \(43\)$")
        self.assertLess(len(str(report).splitlines()), len(report))
        out = self.folder / "w.vtu"
        self.assertTrue(orqmodel.convert(self.folder / "w.orq", out).kept)
        with orqmodel.import_file(out) as again, orqmodel.open(self.folder / "w.orq") as m:
            self.assertEqual(again.nodes.coordinates.tolist(), m.nodes.coordinates.tolist())

    def test_strict_writes_nothing(self):
        path = self.plate()
        out = self.folder / "x.bdf"
        with self.assertRaises(orqmodel.FormatError) as raised:
            orqmodel.convert(path, out, strict=True)
        self.assertTrue(raised.exception.report.dropped)
        self.assertFalse(out.exists())
        orqmodel.convert(path, out)
        self.assertTrue(out.exists())
        with self.assertRaises(FileExistsError):
            orqmodel.convert(path, out)

    ENDINGS = ("orq", "e", "msh", "vtu", "pvd", "bdf")

    def test_what_progress_raises_leaves_nothing(self):
        path = self.plate()
        for source, ending, last in [(WING_BOX, ending, last) for ending in self.ENDINGS
                                     for last in (0.0, 0.4, 1.0)] + [
                                    (path, ending, 0.4) for ending in self.ENDINGS[1:]]:
            def stop(done):
                self.assertLessEqual(done, 1.0)
                if done >= last:
                    raise Stop
            with self.subTest(ending=ending, last=last), self.assertRaises(Stop):
                orqmodel.convert(source, self.folder / f"w.{ending}", progress=stop)
            self.assertEqual(os.listdir(self.folder), ["plate.orq"])

    def test_progress_rises_to_its_end_over_the_times(self):
        path = self.plate()
        for ending in self.ENDINGS[1:]:
            seen = []
            orqmodel.convert(path, self.folder / f"w.{ending}", progress=seen.append)
            self.assertEqual((seen[0], seen[-1]), (0.0, 1.0))
            self.assertEqual(seen, sorted(seen))
            if ending in ("e", "msh", "pvd"):
                self.assertGreaterEqual(len(seen), 2 + 3)  # three times

    def test_an_interrupt_leaves_nothing(self):
        code = ("import os, signal, sys, orqmodel\n"
                "def hit(done): done > 0.3 and os.kill(os.getpid(), signal.SIGINT)\n"
                "orqmodel.convert(sys.argv[1], sys.argv[2], progress=hit)\n")
        path = self.plate()
        for source, ending in ((WING_BOX, "orq"), (path, "e"), (path, "pvd"), (path, "vtu")):
            with self.subTest(ending=ending):
                ended = subprocess.run([sys.executable, "-c", code, source,
                                        self.folder / f"w.{ending}"],
                                       stderr=subprocess.PIPE, text=True)
                self.assertIn(ended.returncode, (-signal.SIGINT, 130, 1))
                self.assertIn("KeyboardInterrupt", ended.stderr)
                self.assertEqual(os.listdir(self.folder), ["plate.orq"])

    def test_an_interrupted_replacement_leaves_what_was_there(self):
        path, out = self.plate(), self.folder / "w.e"
        orqmodel.convert(path, out)
        before = out.read_bytes()

        def stop(done):
            raise Stop
        with self.assertRaises(Stop):
            orqmodel.convert(path, out, force=True, progress=stop)
        self.assertEqual(out.read_bytes(), before)

    def test_names_of_files_in_any_encoding(self):
        odd = os.fsencode(self.folder) + b"/\xff\xe4.orq"
        with orqmodel.create(odd) as m, m.transaction():
            add_plate(m)
            self.assertEqual(os.fsencode(m.path), odd)
        orqmodel.convert(odd, odd + b".vtu")
        with orqmodel.import_file(odd + b".vtu") as m:
            self.assertEqual(len(m.nodes), 6)
        os.rename(odd + b"/catalogue.sqlite", odd + b"/other")
        with self.assertRaises((OSError, ValueError)) as raised:
            orqmodel.open(os.fsdecode(odd))
        self.assertNotIsInstance(raised.exception, UnicodeError)

    def test_findings_are_objects(self):
        with orqmodel.open(self.plate()) as m:
            rules = {finding.rule for finding in m.check()}
            self.assertIn("LAY007", rules)  # 45, 0, 45 is not balanced
            self.assertEqual([f.rule for f in m.check(only=["ELM"])], [])
            self.assertNotIn("LAY007", {f.rule for f in m.check(skip=["LAY007"])})


class Threads(Case):
    def test_others_go_on_while_the_library_works(self):
        path = self.plate()
        with orqmodel.open(path) as m:
            failures = []

            def read():
                try:
                    for _ in range(200):
                        m.fields["U"][-1], m.element(100).plies, m.nodes.coordinates
                except BaseException as error:
                    failures.append(error)

            def progress(done):
                m.fields["U"][0]  # the model may be used within a callback

            threads = [threading.Thread(target=read) for _ in range(4)]
            for thread in threads:
                thread.start()
            for _ in range(5):
                m.check(progress=progress)
            for thread in threads:
                thread.join()
            self.assertEqual(failures, [])


if __name__ == "__main__":
    unittest.main(verbosity=1)
