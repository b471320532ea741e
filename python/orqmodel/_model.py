"""Models: opening, reading, writing and checking them."""
import os
import weakref
from collections import namedtuple
from contextlib import contextmanager

from . import _core
from ._core import Kind
from ._fields import Fields
from ._mesh import Block, Element, Elements, MemberSet, Nodes, Surface, _doubles, _integers
from ._named import Named, Table, missing
from ._sections import Layer, Material, Section

Finding = namedtuple("Finding", "rule level object message place members labels position")
Finding.__doc__ = """One thing that is wrong: the rule ("ELM001"), its level ("error", "warning" or
"note"), what it is about, the text, whether members are "node"s or "element"s, their ordinals and
labels, the worst first, and the position of the first."""


class Findings(Table):
    """What the checker found; `failures` are texts of checks that could not be made."""

    def __init__(self, rows, failures):
        super().__init__(Finding, rows)
        self.failures = failures


class Sets(Named):
    def __init__(self, model, kind):
        super().__init__(model, f"{kind.name.lower()} set", lambda: model._handle.sets(kind),
                         MemberSet)
        self.kind = kind


class Sections(Named):
    """The layered sections of a model by name."""

    def __init__(self, model):
        super().__init__(model, "section", lambda: model._handle.sections(), Section)

    def add(self, name, layers, *, elements):
        """Adds a section with layers from the bottom, and gives it to a block or an element set.

        layers: Layer tuples, or dicts of material, ply, section_points, thickness, angle. Needs a
        transaction, in which the mesh is added too.
        """
        rows = []
        for layer in layers:
            layer = Layer(**layer) if isinstance(layer, dict) else layer
            if layer.thickness is None or layer.angle is None:
                raise ValueError(f"a layer of section {name!r} without thickness or angle")
            rows.append((layer.material, layer.ply, layer.section_points, layer.thickness,
                         layer.angle))
        self._model._new_mesh().add_section(name, rows, elements)


class Job:
    """The analysis that writes, or wrote, the results."""

    def __init__(self, model):
        self._model = model

    def status(self):
        """"none", "running", "completed", "failed", "other" for a status of the host's own, or
        "died": running by its record, while nobody has the database open for writing."""
        number, writer = self._model._handle.job()
        if number is None:
            return "none"
        if number == 0:
            return "running" if writer else "died"
        return {1: "completed", 2: "failed"}.get(number, "other")

    @property
    def writer(self):
        """Who has the database open for writing; empty when nobody has."""
        return self._model._handle.job()[1]


class Model:
    """An open model database. Use it in a `with` statement, or close it.

    What is open for reading keeps the state that it saw when it was opened, or refreshed. All but
    `close` and `closed` raise ValueError once it is closed; arrays that were read stay whole.
    """

    report = None

    def __init__(self, handle):
        self._handle = handle
        self._draft = None
        self._arrays, self._small, self._read_epoch = {}, {}, None
        self.nodes = Nodes(self)
        self.elements = Elements(self)
        self.blocks = Named(self, "block", lambda: self._handle.blocks(), Block)
        self.node_sets = Sets(self, Kind.NODE)
        self.element_sets = Sets(self, Kind.ELEMENT)
        self.surfaces = Named(self, "surface", lambda: self._handle.surfaces(), Surface)
        self.sections = Sections(self)
        self.fields = Fields(self)
        self.job = Job(self)

    def __reduce__(self):
        raise TypeError("an open model cannot be copied or pickled: open its path again")

    def __enter__(self):
        return self

    def __exit__(self, *raised):
        self.close()

    def __repr__(self):
        return "<closed model>" if self.closed else f"<model {self.path or 'in memory'}>"

    # --- The database -------------------------------------------------------------------------

    path = property(lambda self: os.fsdecode(self._handle.path), doc="the directory; empty in memory")
    closed = property(lambda self: self._handle.is_closed)
    writable = property(lambda self: self._handle.is_writable)
    generation = property(lambda self: self._handle.generation,
                          doc="counts the commits that changed anything")

    def close(self):
        """Undoes an open transaction and closes the database. May be called again.

        Arrays that are views of the file stay whole, and keep it open until they end; a
        ResourceWarning says so.
        """
        self._draft = None
        views = 0 if self.closed else self._handle.n_views
        if views:
            import warnings
            warnings.warn(f"{self.path} is closed while {views} views of it are in use; the file "
                          "stays open until they end", ResourceWarning, stacklevel=2)
        self._handle.close()

    def refresh(self):
        """Moves to the state that was committed last; says whether it is another one."""
        return self._handle.refresh()

    def verify(self, progress=None):
        """Compares every checksum and follows every reference: a list of what is wrong."""
        return self._handle.verify(progress)

    # --- Reading ------------------------------------------------------------------------------

    title = property(lambda self: self._flushed().title)
    dimension = property(lambda self: self._flushed().dimension)

    @property
    def element_labels(self):
        """int32: labels of all elements, by ordinal."""
        return self._kept("element labels", lambda: self._handle.labels(Kind.ELEMENT))

    def element(self, label):
        """The element of a label; KeyError when there is none."""
        if not isinstance(label, int):
            label = label.__index__()
        if self._draft is not None:
            self._flush()
        if not -2**31 <= label < 2**31:
            raise KeyError(f"no element has the label {label}")
        return Element(self, label, self._handle.ordinal_of(Kind.ELEMENT, label))

    @property
    def materials(self):
        """A table of materials."""
        return Table(Material, self._flushed().materials())

    @property
    def steps(self):
        """Names of the analysis steps, in their order."""
        return list(self._known("steps", lambda: self._handle.steps()))

    def check(self, only=(), skip=(), limits=None, progress=None):
        """Checks the model by the rules of `orqmodel check --list`; returns the findings.

        only, skip: identifiers of rules ("ELM006") or of their groups ("ELM"). limits: by rule.
        """
        for given in (only, skip):
            if isinstance(given, str):
                raise TypeError("a list of rules, not a text")
        rows, failures = self._flushed().check(list(only), list(skip), dict(limits or {}), progress)
        return Findings(rows, failures)

    # --- Writing ------------------------------------------------------------------------------

    @contextmanager
    def transaction(self):
        """All changes within it become durable at its end, or none when it raises."""
        self._handle.begin()
        try:
            yield self
            self._flush()
            self._handle.commit()
        except BaseException:
            self._draft = None
            if not self._handle.is_closed:
                self._handle.undo()
            raise

    def add_nodes(self, coordinates, labels=None):
        """Adds nodes: coordinates (n, 3), or (n, 2) for a plane model; labels from 1, each once.

        A mesh is written as a whole: at the end of the transaction, or before its fields.
        """
        array = _doubles(coordinates)
        if array.ndim != 2 or array.shape[1] not in (2, 3):
            raise ValueError(f"coordinates are (n, 2) or (n, 3), not {array.shape}")
        draft = self._new_mesh(array.shape[1])
        if draft.dimension != array.shape[1]:
            raise ValueError(f"nodes of {array.shape[1]} coordinates beside {draft.dimension}")
        draft.add_nodes(array, _integers([] if labels is None else labels))

    def add_block(self, name, shape, connectivity, labels=None):
        """Adds elements of one shape: connectivity (n, nodes of the shape), ordinals of nodes."""
        array = _integers(connectivity)
        self._new_mesh().add_block(name, shape, array, _integers([] if labels is None else labels))

    def add_node_set(self, name, members=None, *, labels=None):
        """Adds a set of nodes, by ordinals or by labels."""
        self._new_mesh().add_node_set(name, self._drafted(Kind.NODE, members, labels))

    def add_element_set(self, name, members=None, *, labels=None):
        """Adds a set of elements, by ordinals or by labels."""
        self._new_mesh().add_element_set(name, self._drafted(Kind.ELEMENT, members, labels))

    def add_surface(self, name, faces):
        """Adds a surface: (n, 2) of an element's ordinal and a place in the sides of its shape."""
        self._new_mesh().add_surface(name, _integers(faces))

    def _new_mesh(self, dimension=3):
        if not self._handle.is_writing:
            raise ValueError("the model is closed" if self.closed else
                             "writing needs a transaction: with model.transaction(): ...")
        if self._draft is None:
            self._draft = _core.draft("", dimension)
        return self._draft

    def _drafted(self, kind, members, labels):
        import numpy
        if (members is None) == (labels is None):
            raise ValueError("members or labels")
        if members is not None:
            return _integers(members)
        known, wanted = self._draft.labels(kind), _integers(labels)
        order = numpy.argsort(known, kind="stable")
        places = numpy.searchsorted(known, wanted, sorter=order)
        found = order[numpy.minimum(places, len(known) - 1)] if len(known) else places
        wrong = wanted[known[found] != wanted] if len(known) else wanted
        if len(wrong):
            raise KeyError(f"no {kind.name.lower()} has the label {wrong[0]}")
        return _integers(found)

    def _flush(self):
        """Writes the mesh that is being put together."""
        if self._draft is not None:
            draft, self._draft = self._draft, None
            self._handle.write(draft, None)

    def _flushed(self):
        self._flush()
        return self._handle

    # --- Handing over -------------------------------------------------------------------------

    def to_meshio(self):
        """A meshio.Mesh of the blocks and sets; meshio has to be there."""
        from ._handover import to_meshio
        return to_meshio(self)

    def to_pyvista(self):
        """A pyvista.UnstructuredGrid of the blocks; pyvista has to be there."""
        from ._handover import to_pyvista
        return to_pyvista(self)

    # --- Within the package -------------------------------------------------------------------

    def _renew(self):
        """Forgets what was read when the model has changed since, or is closed."""
        handle = self._flushed()
        if handle.is_closed or handle.epoch != self._read_epoch:
            self._arrays, self._small, self._read_epoch = {}, {}, handle.epoch

    def _known(self, what, read):
        """What is small, and read once."""
        self._renew()
        small = self._small  # another thread may renew it
        if what not in small:
            small[what] = read()
        return small[what]

    def _kept(self, what, read):
        """The array of an earlier call while somebody still has it."""
        self._renew()
        reference = self._arrays.get(what)
        array = None if reference is None else reference()
        if array is None:
            array = read()
            self._arrays[what] = weakref.ref(array)
        return array

    def _frames(self):
        return self._known("frames", lambda: self._handle.frames())

    def _step(self, step):
        steps = self.steps
        if isinstance(step, str):
            if step not in steps:
                raise missing("step", step, steps)
            return steps.index(step)
        if not -len(steps) <= step < len(steps):
            raise IndexError(f"step {step} is none of {len(steps)}")
        return step % len(steps)


def _name(path):
    """The name of a file as text; the library would end it at a NUL."""
    path = os.fsdecode(path)
    if "\0" in path:
        raise ValueError("a name of a file with a NUL in it")
    return path


def _is_url(path):
    """Whether a name is that of a model in a store, for which nobody looks in the file system."""
    return path.startswith(("postgresql://", "postgres://"))


def open(path, mode="r"):
    """Opens a model database, a directory or the URL of one in a store: "r" for reading, "r+" for
    writing."""
    if mode not in ("r", "r+"):
        raise ValueError(f'mode {mode!r} is none of "r", "r+"')
    path = _name(path)
    if not _is_url(path) and not os.path.exists(path):
        raise FileNotFoundError(2, "there is no such model database", path)
    return Model(_core.open(os.fsencode(path), mode == "r+"))


def create(path):
    """Makes an empty model database, NAME.orq or a URL, and opens it for writing."""
    path = _name(path)
    if not _is_url(path) and os.path.lexists(path):
        raise FileExistsError(17, "it exists already", path)
    return Model(_core.create(os.fsencode(path)))


def create_in_memory():
    """A model that ends when it is closed."""
    return Model(_core.create_in_memory())
