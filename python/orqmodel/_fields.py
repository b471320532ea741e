"""Results: fields over steps and times."""
from ._core import Kind
from ._mesh import _doubles, _integers, ordinals_of
from ._named import Item, Named

PLACES = ("node", "element", "model")
POINTS = (None, "integration points", "nodes", "faces")  # that an element may have values at


class Values:
    """Values of a field at a time: an array with the members and components that it runs over."""

    def __init__(self, field, frame, members, values):
        self.field, self.frame, self.members, self.values = field, frame, members, values

    time = property(lambda self: self.field._model._frames()[self.frame][1])
    step = property(lambda self: self.field._model.steps[self.field._model._frames()[self.frame][0]])
    components = property(lambda self: self.field.components)
    shape = property(lambda self: self.values.shape)

    @property
    def labels(self):
        """int32: labels of the members; none for the whole model."""
        model = self.field._model
        if self.field.place == "model":
            return self.members
        return (model.nodes.labels if self.field.place == "node" else model.element_labels)[self.members]

    def __array__(self, dtype=None):
        return self.values if dtype is None else self.values.astype(dtype)

    def __len__(self):
        return len(self.values)

    def __getitem__(self, key):
        return self.values[key]

    def to_pandas(self):
        """A pandas.DataFrame: rows by label, a column for each component."""
        import pandas
        index = None if self.field.place == "model" else pandas.Index(self.labels, name="label")
        return pandas.DataFrame(self.values, index=index, columns=list(self.components))

    def __arrow_c_stream__(self, requested_schema=None):
        """A capsule for readers of Arrow: int32 `label`, but for the whole model, and float64 of
        each component. One component is not copied. Another schema is not converted to."""
        from ._arrow import stream_of_columns
        columns = [] if self.field.place == "model" else [("label", self.labels)]
        columns += [(name, self.values[:, k]) for k, name in enumerate(self.components)]
        return stream_of_columns(len(self.values), columns)

    def __repr__(self):
        return f"<{self.field.name} of {len(self.values)} {self.field.place}s at {self.time:g}>"


class Field(Item):
    """A field: a sequence of arrays (members, components), one for each time at which it has values.

    `field[-1]` is the last. Members without a value have NaN. Where elements have several points, an
    array holds their mean; where they have layers, `at` names the layer.
    """

    place = property(lambda self: self._row[1], doc='"node", "element" or "model"')
    identifier = property(lambda self: self._row[2],
                          doc="in the table of output variables; empty without")
    components = property(lambda self: self._row[3], doc="a tuple of names")
    has_points = property(lambda self: self._row[4])
    has_layers = property(lambda self: self._row[5])

    @property
    def frames(self):
        """Places, among all times of the model, at which the field has values."""
        place = self._place
        return self._model._known(("frames", place), lambda: self._handle.frames_of(place))

    @property
    def times(self):
        """float64."""
        import numpy
        frames = self._model._frames()
        return numpy.array([frames[frame][1] for frame in self.frames])

    @property
    def members(self):
        """int32: ordinals of the nodes or elements that have a value at some time."""
        return self._handle.field_members(self._place)

    @property
    def extents(self):
        """The most layers, section points in a layer, and points that an element has."""
        place = self._place
        return self._model._known(("extents", place), lambda: self._handle.field_extents(place))

    def __len__(self):
        return len(self.frames)

    def __getitem__(self, time):
        frames = self.frames
        if not -len(frames) <= time < len(frames):
            raise IndexError(f"time {time} of field {self.name!r} is none of {len(frames)}")
        return self._handle.read_field(self._place, frames[time], None, -1, -1, -1)

    def __iter__(self):
        return (self[time] for time in range(len(self)))

    def at(self, step=None, *, time=None, nodes=None, elements=None, layer=None, point=None,
           integration_point=None):
        """Values at a time; only what is asked for is read.

        step: the name of a step, or its place (-1 is the last); the field's last time in it, or
        in all steps without one. time: a time of the field. nodes, elements: a set, or labels.
        layer: from the bottom, from 0. point: a section point of the layer, from 0, or "bottom",
        "middle" or "top". integration_point: from 0; the mean of all without one.
        """
        frame = self._frame(step, time)
        members = self._members_of(nodes, elements)
        spot = self._spot(layer, point, integration_point)
        values = self._handle.read_field(self._place, frame, members, *spot)
        return Values(self, frame, self.members if members is None else members, values)

    def blocks(self, step=None, *, time=None, size=100_000, **spot):
        """Yields (ordinals, values) of `size` members at a time."""
        from ._mesh import ranges
        frame, members = self._frame(step, time), self.members
        chosen = self._spot(spot.pop("layer", None), spot.pop("point", None),
                            spot.pop("integration_point", None))
        if spot:
            raise TypeError(f"unknown: {', '.join(spot)}")
        for begin, end in ranges(len(members), size):
            some = members[begin:end]
            yield some, self._handle.read_field(self._place, frame, some, *chosen)

    def _frame(self, step, time):
        all_frames, frames = self._model._frames(), self.frames
        if step is not None:
            place = self._model._step(step)
            frames = [frame for frame in frames if all_frames[frame][0] == place]
        if time is not None:
            frames = [frame for frame in frames if all_frames[frame][1] == time]
        if not frames:
            where = " and ".join(f"{name} {value!r}" for name, value in
                                 (("step", step), ("time", time)) if value is not None)
            raise IndexError(f"field {self.name!r} has no values at {where or 'any time'}")
        return frames[-1]

    def _members_of(self, nodes, elements):
        given = {"node": nodes, "element": elements}
        for place, members in given.items():
            if members is not None and place != self.place:
                raise ValueError(f"field {self.name!r} has values of {self.place}s, not {place}s")
        kind = Kind.NODE if self.place == "node" else Kind.ELEMENT
        return ordinals_of(self._model, kind, given.get(self.place))

    def _spot(self, layer, point, integration_point):
        if layer is None and point is None and integration_point is None:
            return -1, -1, -1
        layers, section_points, points = self.extents
        if isinstance(point, str):
            named = {"bottom": 0, "middle": (section_points - 1) // 2, "top": section_points - 1}
            if point not in named:
                raise ValueError(f"point {point!r} is none of bottom, middle, top")
            point = named[point]
        elif point is None and section_points == 1:
            point = 0
        spot = []
        for what, number, count in (("layer", layer, layers), ("point", point, section_points),
                                    ("integration point", integration_point, points)):
            if number is not None and not -count <= number < count:
                raise IndexError(f"{what} {number} of field {self.name!r} is none of {count}")
            spot.append(-1 if number is None else number % count)
        return tuple(spot)


class Fields(Named):
    """The fields of a model by name."""

    def __init__(self, model):
        super().__init__(model, "field", lambda: model._handle.fields(), Field)

    def add(self, name, values, *, step="Step-1", time=0.0, on="node", members=None, labels=None,
            components=None, points=None):
        """Adds values at a time of a step; step, time and field are made when they are not there.

        on: "node", "element" or "model". members, labels: whose values they are, by ordinals or
        labels; all without either. components: names; without them NAME1, NAME2, ... points: of
        elements, "integration points", "nodes" or "faces", each with a value. Needs a transaction.

        values, where the components may be left out when there is one and no layers:

        ====================  ==========================================================
        (members, c)          one value a member
        (members, p, c)       with `points`, p of them
        (l, s, members, c)    of elements, in l layers of s section points
        (l, s, members, p, c) both
        ====================  ==========================================================

        Layers and section points count from the bottom, points as the element's shape has them.
        Elements with other numbers of them are added by themselves, under the same name.
        """
        model = self._model
        model._flush()
        if on not in PLACES:
            raise ValueError(f"on {on!r} is none of {', '.join(PLACES)}")
        if points not in POINTS:
            raise ValueError(f"points {points!r} is none of {', '.join(POINTS[1:])}")
        if members is not None and labels is not None:
            raise ValueError("members or labels, not both")
        kind = Kind.NODE if on == "node" else Kind.ELEMENT
        if labels is not None:
            members = model._handle.ordinals_of(kind, _integers(labels))
        elif members is None:
            members = range(0 if on == "model" else model._handle.count(kind))
        array = _doubles(values)
        least = 2 if points is None else 3
        if on == "model":
            array = array.reshape(1, -1)
        elif array.ndim == least - 1:
            array = array[..., None]
        count = array.shape[-1] if array.ndim else 0
        if components is None:
            components = [name] if count == 1 else [f"{name}{k + 1}" for k in range(count)]
        model._handle.add_field(step, time, PLACES.index(on), POINTS.index(points),
                                array.ndim > least, name, list(components), _integers(members),
                                array)
