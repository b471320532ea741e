"""Tables as streams of Arrow, by its PyCapsule protocol."""
import numpy

from . import _core


def stream_of_columns(length, columns):
    """Of (name, array) pairs."""
    return _core.arrow_stream(length, [(name, numpy.ascontiguousarray(values), None, None)
                                       for name, values in columns])


def stream_of_rows(names, rows):
    """Of tuples, by what is in each column."""
    return _core.arrow_stream(len(rows), [(name, *_column([row[k] for row in rows]))
                                          for k, name in enumerate(names)])


def _column(cells):
    """(values, offsets, marks of the rows that are not None) of a column."""
    there = numpy.array([cell is not None for cell in cells], dtype=bool)
    valid = None if there.all() else there
    known = [cell for cell in cells if cell is not None]
    if known and all(isinstance(cell, str) for cell in known):
        texts = [b"" if cell is None else cell.encode("utf-8", "replace") for cell in cells]
        return numpy.array(bytearray(b"".join(texts))), _offsets(texts), valid
    if any(isinstance(cell, (numpy.ndarray, list, tuple)) for cell in known):
        lists = [numpy.empty(0) if cell is None else numpy.atleast_1d(cell) for cell in cells]
        kind = (numpy.int64 if all(part.dtype.kind == "i" for part in lists if part.size)
                else numpy.float64)
        return numpy.concatenate(lists).astype(kind), _offsets(lists), valid
    kind = numpy.int64 if known and all(isinstance(cell, int) for cell in known) else numpy.float64
    return numpy.array([0 if cell is None else cell for cell in cells], dtype=kind), None, valid


def _offsets(parts):
    return numpy.cumsum([0] + [len(part) for part in parts], dtype=numpy.int32)
