"""Answers measures of the shape of elements as VTK's Verdict has them.

Reads lines "FUNCTION x y z x y z ...", with the end of a function's name in the library, such as hex_skew, and writes one
number for each. Exits with status 77 where VTK is absent.
"""

import ctypes
import sys

try:
    import vtkmodules.vtkFiltersVerdict  # noqa: F401 the library with it
except ImportError:
    sys.exit(77)


def library():
    for name in ("libvtkverdict-9.1.so.1", "libvtkverdict.so"):
        try:
            return ctypes.CDLL(name)
        except OSError:
            continue
    sys.exit(77)


def function(of, name):
    """Most of the names have a letter before them."""
    for symbol in ("vtkverdict__v_" + name, "vtkverdict__" + name):
        if hasattr(of, symbol):
            found = getattr(of, symbol)
            found.restype = ctypes.c_double
            return found
    sys.exit(77)


verdict = library()
for line in sys.stdin:
    name, *coordinates = line.split()
    numbers = [float(number) for number in coordinates]
    print(repr(function(verdict, name)(len(numbers) // 3, (ctypes.c_double * len(numbers))(*numbers))))
