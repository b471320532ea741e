"""Tables as streams of Arrow: the values, and who holds them until when."""
import gc
import sys
import threading
import unittest
import weakref

import numpy as np

import orqmodel
from arrow_reader import Array, release, stream_in, table_of
from orqmodel import _core
from support import Case


def references(array):
    gc.collect()
    return sys.getrefcount(array)


class Arrow(Case):
    def test_values_and_tables(self):
        with orqmodel.open(self.plate()) as m:
            u = m.fields["U"].at(step=-1)
            columns = table_of(u.__arrow_c_stream__())
            self.assertEqual(columns["label"], [10, 20, 30, 40, 50, 60])
            self.assertEqual(columns["U1"], [0, 3, 6, 9, 12, 15])
            self.assertEqual(list(columns), ["label", "U1", "U2", "U3"])
            self.assertEqual(table_of(m.fields["energy"].at().__arrow_c_stream__()),
                             {"energy": [5.5]})
            layers = m.sections["laminate"].layers
            columns = table_of(layers.__arrow_c_stream__())
            self.assertEqual(columns["ply"], ["P1", "P2", "P3"])
            self.assertEqual(columns["section_points"], [3, 3, 3])
            self.assertEqual(columns["thickness"], [0.25, 0.5, 0.25])
            findings = m.check()
            columns = table_of(findings.__arrow_c_stream__(requested_schema=None))
            self.assertEqual(columns["rule"], [f.rule for f in findings])
            self.assertEqual(columns["members"], [list(f.members) for f in findings])
            none = orqmodel._sections.Layers([])
            self.assertEqual(table_of(none.__arrow_c_stream__())["ply"], [])

    def test_values_that_vary_are_lists_and_none_is_null(self):
        Layers = orqmodel._sections.Layers
        rows = [("é", "", "", 3, np.array([1.0, 2.0]), None, 1.0), ("", "", "", 3, 0.5, None, None)]
        columns = table_of(Layers(rows).__arrow_c_stream__())
        self.assertEqual(columns["material"], ["é", ""])
        self.assertEqual(columns["thickness"], [[1.0, 2.0], [0.5]])
        self.assertEqual(columns["angle"], [None, None])
        self.assertEqual(columns["nominal_angle"], [1.0, None])

    def test_all_is_released_once_whatever_the_reader_did(self):
        values = np.arange(5.0)
        before = references(values)

        def capsule():
            made = _core.arrow_stream(5, [("a", values, None, None), ("b", values, None, None)])
            self.assertGreater(references(values), before)
            return made

        def take(stream):
            array = Array()
            self.assertEqual(stream.get_next(stream, array), 0)
            return array

        capsule()  # nobody took it
        self.assertEqual(references(values), before)
        table_of(capsule())
        self.assertEqual(references(values), before)
        held = capsule()
        array = take(stream_in(held))
        del held  # the array outlives its stream
        self.assertGreater(references(values), before)
        self.assertEqual(array.children[0].contents.buffers[1], values.ctypes.data)  # no copy
        release(array)
        self.assertEqual(references(values), before)
        for _ in range(100):  # by another thread, without the interpreter's lock
            held = capsule()
            array = take(stream_in(held))
            thread = threading.Thread(target=release, args=(array,))
            thread.start()
            thread.join()
        del held
        self.assertEqual(references(values), before)

    def test_a_stream_keeps_the_file_of_a_view(self):
        with orqmodel.open(self.plate()) as m:
            u = m.fields["T"].at()
            ended = weakref.ref(u.values)
            capsule = u.__arrow_c_stream__()
            del u
            gc.collect()
            self.assertEqual(table_of(capsule)["T"], [7.0, 8.0])
            del capsule
            gc.collect()
            self.assertIsNone(ended())
            self.assertEqual(m._handle.n_views, 0)

    def test_columns_that_are_none(self):
        ok = np.zeros(2)
        for error, columns in (
                (ValueError, [("a", np.zeros(3), None, None)]),
                (ValueError, [("a", np.zeros((2, 1)), None, None)]),
                (ValueError, [("a", np.zeros(4)[::2], None, None)]),
                (TypeError, [("a", np.zeros(2, dtype=complex), None, None)]),
                (TypeError, [("a", ["x", "y"], None, None)]),
                (ValueError, [("a", ok, [0, 1, 3], None)]),
                (ValueError, [("a", ok, [0, 3, 2], None)]),
                (ValueError, [("a", ok, [-1, 1, 2], None)]),
                (ValueError, [("a", ok, [], None)]),
                (ValueError, [("a", ok, None, np.ones(1, dtype=bool))])):
            with self.subTest(columns=columns), self.assertRaises(error):
                _core.arrow_stream(2, columns)

    def test_other_readers(self):
        readers = {"pyarrow": lambda arrow, u: arrow.table(u).to_pydict()["U1"],
                   "polars": lambda polars, u: polars.DataFrame(u)["U1"].to_list()}
        known = {}
        for name in readers:
            try:
                known[name] = __import__(name)
            except ImportError:
                print(f"{name} is not there: its reading of a stream is skipped")
        with orqmodel.open(self.plate()) as m:
            for name, module in known.items():
                self.assertEqual(readers[name](module, m.fields["U"].at(step=-1)),
                                 [0, 3, 6, 9, 12, 15])


if __name__ == "__main__":
    unittest.main(verbosity=1)
