"""Sections and their layers."""
from collections import namedtuple

from ._named import Item, Table

Layer = namedtuple("Layer", "material orientation ply section_points thickness angle nominal_angle",
                   defaults=("", "", "", 3, None, None, None))
Layer.__doc__ = """A layer of a section: names ("" for none), the number of its section points, its
thickness in the model's length unit and its angle in degrees. A value that varies over the elements
is an array in the order of the section's elements; one that is not known is None."""

Material = namedtuple("Material", "name number kind")
Material.__doc__ = 'A material; `kind` is for example "MAT1", or empty for a name alone.'


class Layers(Table):
    """Layers from the bottom."""

    def __init__(self, rows):
        super().__init__(Layer, rows)


class Section(Item):
    """A layered section and the elements that it governs."""

    number = property(lambda self: self._row[1], doc="its number in its file")

    def __len__(self):
        return self._row[2]

    @property
    def elements(self):
        """int32: ordinals."""
        return self._handle.section_elements(self._place)

    @property
    def labels(self):
        """int32: labels of the elements."""
        return self._model.element_labels[self.elements]

    @property
    def layers(self):
        return Layers(self._handle.layers(self._place))
