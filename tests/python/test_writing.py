"""Transactions hold what they promise, and conversions leave whole files or none."""
import os
import signal
import subprocess
import sys
import threading
import unittest

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
        self.assertIn("kept\n", str(report))
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

    def test_what_progress_raises_leaves_nothing(self):
        seen = []

        def stop(done):
            seen.append(done)
            raise Stop

        with self.assertRaises(Stop):
            orqmodel.convert(WING_BOX, self.folder / "w.orq", progress=stop)
        self.assertEqual(os.listdir(self.folder), [])
        self.assertEqual(len(seen), 1)

    def test_an_interrupt_leaves_nothing(self):
        code = ("import os, signal, sys, orqmodel\n"
                "def hit(done): os.kill(os.getpid(), signal.SIGINT)\n"
                "orqmodel.convert(sys.argv[1], sys.argv[2], progress=hit)\n")
        ended = subprocess.run([sys.executable, "-c", code, WING_BOX, self.folder / "w.orq"],
                               stderr=subprocess.PIPE, text=True)
        self.assertIn(ended.returncode, (-signal.SIGINT, 130, 1))
        self.assertIn("KeyboardInterrupt", ended.stderr)
        self.assertEqual(os.listdir(self.folder), [])

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
