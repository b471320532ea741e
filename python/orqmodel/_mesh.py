"""Nodes, blocks, elements, sets and surfaces."""
from collections.abc import Sequence

from ._core import Kind
from ._named import Item
from ._sections import Layers

BLOCK = 100_000  # members that an iteration hands out at a time


def ranges(count, size):
    if size < 1:
        raise ValueError(f"blocks of {size} members")
    return ((begin, min(begin + size, count)) for begin in range(0, count, size))


def ordinals_of(model, kind, members):
    """Ordinals of a set, of an element or of labels."""
    if members is None:
        return None
    if isinstance(members, MemberSet):
        if members.kind != kind:
            raise ValueError(f"{members!r} has no {kind.name.lower()}s")
        return members.members
    return model._handle.ordinals_of(kind, _integers(members))


def _integers(numbers):
    """An array of them as int32; TypeError for others, OverflowError where they do not fit."""
    import numpy
    array = numpy.asarray(numbers)
    if array.size and not numpy.issubdtype(array.dtype, numpy.integer):
        raise TypeError(f"integers are wanted, not {array.dtype}")
    if array.size and (array.max() > 2**31 - 1 or array.min() < -2**31):
        raise OverflowError("an integer of more than 32 bits")
    return array.astype(numpy.int32)


def _doubles(numbers):
    """An array of them as float64, NaN where a masked array has none; TypeError for others."""
    import numpy
    array = numpy.asanyarray(numbers)
    if array.dtype.kind not in "fiubO":
        raise TypeError(f"real numbers are wanted, not {array.dtype}")
    if isinstance(array, numpy.ma.MaskedArray):
        return array.astype(numpy.float64).filled(numpy.nan)
    return numpy.asarray(array, dtype=numpy.float64)


class Nodes:
    """The nodes of a model, in the order of their ordinals."""

    def __init__(self, model):
        self._model = model

    @property
    def _handle(self):
        return self._model._handle

    def __len__(self):
        return self._handle.count(Kind.NODE)

    @property
    def coordinates(self):
        """float64 (n, dimension) in the model's length unit, read-only; 0 without coordinates."""
        return self._model._kept("coordinates", lambda: self._handle.coordinates(0, len(self)))

    @property
    def labels(self):
        """int32 (n,)."""
        return self._model._kept("node labels", lambda: self._handle.labels(Kind.NODE))

    def ordinals(self, labels):
        """int32: the ordinals of labels. KeyError for one that no node has."""
        return self._handle.ordinals_of(Kind.NODE, _integers(labels))

    def at(self, members):
        """Coordinates of a node set, or of nodes by label, in their order: only these are read."""
        return self._handle.coordinates_of(ordinals_of(self._model, Kind.NODE, members))

    def blocks(self, size=BLOCK):
        """Yields (first ordinal, coordinates) of `size` nodes at a time."""
        for begin, end in ranges(len(self), size):
            yield begin, self._handle.coordinates(begin, end)

    def __repr__(self):
        return f"<{len(self)} nodes>"


class Block(Item):
    """Elements of one shape."""

    number = property(lambda self: self._row[1], doc="its number in its file")
    shape = property(lambda self: self._row[2], doc='for example "SHELL4"')
    vtk_type = property(lambda self: self._row[4], doc="the number of VTK's cell type")
    vtk_order = property(lambda self: self._row[5],
                         doc="place of each node of the shape in VTK's order; empty for the same")

    def __len__(self):
        return self._row[3]

    @property
    def connectivity(self):
        """int32 (elements, nodes of the shape): ordinals of nodes, read-only."""
        return self._handle.connectivity(self._place, 0, len(self))

    def blocks(self, size=BLOCK):
        """Yields (first element of the block, connectivity) of `size` elements at a time."""
        for begin, end in ranges(len(self), size):
            yield begin, self._handle.connectivity(self._place, begin, end)

    @property
    def elements(self):
        """int32: ordinals of the elements among all of the model."""
        return self._handle.block_elements(self._place)

    @property
    def labels(self):
        """int32: labels of the elements."""
        return self._model.element_labels[self.elements]

    @property
    def attributes(self):
        """A dict: float64 values of the elements by attribute."""
        names, values = self._handle.attributes(self._place)
        return {name: values[:, place] for place, name in enumerate(names)}


class MemberSet(Item):
    """A set of nodes or elements, in the order of its file."""

    number = property(lambda self: self._row[1], doc="its number in its file")

    @property
    def kind(self):
        """Kind.NODE or Kind.ELEMENT."""
        return self._among.kind

    def __len__(self):
        return self._row[2]

    @property
    def members(self):
        """int32: ordinals."""
        return self._handle.members(self.kind, self._place)

    @property
    def labels(self):
        """int32."""
        all_labels = (self._model.nodes.labels if self.kind == Kind.NODE
                      else self._model.element_labels)
        return all_labels[self.members]

    def __contains__(self, label):
        return label in self.labels


class Surface(Item):
    """Faces or edges of elements."""

    number = property(lambda self: self._row[1], doc="its number in its file")
    is_analytical = property(lambda self: self._row[2], doc="a rigid shape without faces")
    faces = property(lambda self: self._row[3],
                     doc="int32 (n, 2): ordinal of the element, place in the sides of its shape")

    def __len__(self):
        return len(self.faces)

    @property
    def labels(self):
        """int32: labels of the elements of the faces."""
        return self._model.element_labels[self.faces[:, 0]]


def _layers_if_same(model, section):
    """The layers that all elements of a section have; None where they vary."""
    layers = Layers(model._handle.layers(section))
    return None if any(hasattr(value, "shape") for layer in layers for value in layer) else layers


class Element:
    """One element."""

    __slots__ = ("_model", "label", "ordinal")

    def __init__(self, model, label, ordinal):
        self._model, self.label, self.ordinal = model, label, ordinal

    @property
    def block(self):
        return self._model.blocks[self._model._handle.place_of(self.ordinal)[0]]

    @property
    def nodes(self):
        """int32: labels of its nodes, in the order of the shape."""
        block, place = self._model._handle.place_of(self.ordinal)
        nodes = self._model._handle.connectivity(block, place, place + 1)[0]
        return self._model.nodes.labels[nodes]

    @property
    def section(self):
        """The section that governs it; None without one."""
        place = self._model._handle.section_of(self.ordinal)
        return None if place < 0 else self._model.sections[place]

    @property
    def plies(self):
        """Its layers from the bottom, with the thicknesses and angles that it has; none without a
        section."""
        model = self._model
        place = model._handle.section_of(self.ordinal)
        if place < 0:
            return Layers(())
        same = model._known(("layers", place), lambda: _layers_if_same(model, place))
        return Layers(model._handle.layers_at(self.ordinal)) if same is None else same

    def __repr__(self):
        return f"<element {self.label}>"


class Elements(Sequence):
    """Findings and fields name elements by ordinal; this gives the element."""

    def __init__(self, model):
        self._model = model

    def __len__(self):
        return self._model._handle.count(Kind.ELEMENT)

    def __getitem__(self, ordinal):
        labels = self._model.element_labels
        if isinstance(ordinal, slice):
            return [self[place] for place in range(*ordinal.indices(len(labels)))]
        return Element(self._model, int(labels[ordinal]), range(len(labels))[ordinal])
