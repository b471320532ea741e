"""Finite-element models and results in an ORQ database, from Python.

>>> import orqmodel
>>> m = orqmodel.create_in_memory()
>>> with m.transaction():
...     m.add_nodes([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]], labels=[10, 20, 30, 40])
...     m.add_block("plate", "SHELL4", [[0, 1, 2, 3]])
...     m.add_node_set("root", labels=[10, 40])
...     m.fields.add("U", [[0, 0, 0], [1, 0, 0], [1, 0, 0], [0, 0, 0]], step="Loading", time=1.0)
>>> m.node_sets["root"].labels
array([10, 40], dtype=int32)
>>> m.fields["U"].at(step=-1, nodes=[20]).values
array([[1., 0., 0.]])
>>> m.close()

Nodes and elements have labels, the user's numbers, and ordinals, their places from 0; arrays such as
a block's connectivity hold ordinals. Arrays that are read cannot be written to; of a model that is
open for reading, coordinates, connectivity and fields are views of the file wherever that has them in
one piece, and copies elsewhere. A view keeps its state of the model, and the file open. One thread at a time
is in the library; while it moves bytes, the others of the interpreter go on.

Exceptions are Python's own: KeyError for a name or label that is not there, IndexError for a place,
ValueError for what breaks a rule and for a closed model, OSError and its classes for what the system
refuses; and the classes of this module, which derive from them.
"""
from ._core import (BusyError, DamagedError, ForeignError, FormatError, InvariantError, RefusedError,
                    __version__)
from ._convert import Report, ReportEntry, convert, formats, import_file
from ._model import Model, create, create_in_memory, open

__all__ = ["BusyError", "DamagedError", "ForeignError", "FormatError", "InvariantError", "Model",
           "RefusedError", "Report", "ReportEntry", "convert", "create", "create_in_memory",
           "formats", "import_file", "open"]
