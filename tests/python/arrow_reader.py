"""A reader of streams of Arrow with ctypes and NumPy alone: takes a capsule, and releases it all."""
import ctypes

import numpy as np


class Schema(ctypes.Structure):
    pass


class Array(ctypes.Structure):
    pass


class Stream(ctypes.Structure):
    pass


def _release_of(kind):
    return ctypes.CFUNCTYPE(None, ctypes.POINTER(kind))


Schema._fields_ = [
    ("format", ctypes.c_char_p), ("name", ctypes.c_char_p), ("metadata", ctypes.c_char_p),
    ("flags", ctypes.c_int64), ("n_children", ctypes.c_int64),
    ("children", ctypes.POINTER(ctypes.POINTER(Schema))), ("dictionary", ctypes.c_void_p),
    ("release", _release_of(Schema)), ("private_data", ctypes.c_void_p)]
Array._fields_ = [
    ("length", ctypes.c_int64), ("null_count", ctypes.c_int64), ("offset", ctypes.c_int64),
    ("n_buffers", ctypes.c_int64), ("n_children", ctypes.c_int64),
    ("buffers", ctypes.POINTER(ctypes.c_void_p)),
    ("children", ctypes.POINTER(ctypes.POINTER(Array))), ("dictionary", ctypes.c_void_p),
    ("release", _release_of(Array)), ("private_data", ctypes.c_void_p)]
Stream._fields_ = [
    ("get_schema", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(Stream), ctypes.POINTER(Schema))),
    ("get_next", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(Stream), ctypes.POINTER(Array))),
    ("get_last_error", ctypes.CFUNCTYPE(ctypes.c_char_p, ctypes.POINTER(Stream))),
    ("release", _release_of(Stream)), ("private_data", ctypes.c_void_p)]

_pointer_of = ctypes.pythonapi.PyCapsule_GetPointer
_pointer_of.restype, _pointer_of.argtypes = ctypes.c_void_p, [ctypes.py_object, ctypes.c_char_p]

_DTYPES = {b"g": np.float64, b"i": np.int32, b"l": np.int64}


def stream_in(capsule):
    return Stream.from_address(_pointer_of(capsule, b"arrow_array_stream"))


def release(structure):
    structure.release(structure)
    assert not structure.release, "a released structure says so"


def move(structure):
    """What a consumer does that takes a child away from its parent."""
    taken = type(structure)()
    ctypes.memmove(ctypes.byref(taken), ctypes.byref(structure), ctypes.sizeof(structure))
    structure.release = type(structure.release)()
    return taken


def _numbers(array, place, count, dtype):
    size = count * np.dtype(dtype).itemsize
    content = ctypes.string_at(array.buffers[place], size) if size else b""
    return np.frombuffer(content, dtype)


def cells(schema, array):
    """The rows of a column; None for null."""
    n = array.length
    if array.buffers[0]:
        bits = np.frombuffer(ctypes.string_at(array.buffers[0], (n + 7) // 8), np.uint8)
        valid = np.unpackbits(bits, bitorder="little")[:n]
    else:
        valid = np.ones(n)
    assert array.null_count == n - valid.sum()
    if schema.format in _DTYPES:
        rows = _numbers(array, 1, n, _DTYPES[schema.format]).tolist()
    else:
        offsets = _numbers(array, 1, n + 1, np.int32)
        if schema.format == b"u":
            whole = ctypes.string_at(array.buffers[2], int(offsets[-1]))
            rows = [whole[a:b].decode() for a, b in zip(offsets, offsets[1:])]
        else:
            assert schema.format == b"+l", schema.format
            whole = cells(schema.children[0].contents, array.children[0].contents)
            rows = [whole[a:b] for a, b in zip(offsets, offsets[1:])]
    return [row if ok else None for row, ok in zip(rows, valid)]


def table_of(capsule):
    """Columns by name. Children are moved out and released by themselves, after their parent."""
    stream, schema, array, end = stream_in(capsule), Schema(), Array(), Array()
    assert stream.get_schema(stream, schema) == 0 and stream.get_next(stream, array) == 0
    assert stream.get_next(stream, end) == 0 and not end.release, "one batch, then the end"
    release(stream)
    assert schema.format == b"+s" and schema.n_children == array.n_children
    children = [move(array.children[k].contents) for k in range(array.n_children)]
    release(array)
    columns = {}
    for k, child in enumerate(children):
        of = schema.children[k].contents
        assert child.length == array.length
        columns[of.name.decode()] = cells(of, child)
        release(child)
    release(schema)
    return columns
