from collections.abc import Callable, Iterable, Iterator, Mapping, Sequence
from contextlib import AbstractContextManager
from os import PathLike
from typing import Any, Generic, Literal, NamedTuple, TypeVar

import numpy as np
from numpy.typing import ArrayLike, NDArray

__version__: str

T = TypeVar("T")
Ints = NDArray[np.int32]
Doubles = NDArray[np.float64]
Path = str | PathLike[str]
Progress = Callable[[float], object] | None
Members = "MemberSet | Sequence[int] | Ints"
Level = Literal["error", "warning", "note"]
Outcome = Literal["kept", "noted", "findings", "changed", "dropped"]

class DamagedError(OSError): ...
class ForeignError(ValueError): ...
class BusyError(BlockingIOError): ...
class RefusedError(RuntimeError): ...
class InvariantError(AssertionError): ...
class FormatError(ValueError):
    report: Report

class Named(Mapping[str, T], Generic[T]):
    def __getitem__(self, key: str | int) -> T: ...
    def __iter__(self) -> Iterator[str]: ...
    def __len__(self) -> int: ...

class Table(Sequence[T], Generic[T]):
    def __getitem__(self, place: Any) -> Any: ...
    def __len__(self) -> int: ...
    def to_pandas(self) -> Any: ...
    def __arrow_c_stream__(self, requested_schema: Any = ...) -> Any: ...

class Layer(NamedTuple):
    material: str = ...
    orientation: str = ...
    ply: str = ...
    section_points: int = ...
    thickness: float | Doubles | None = ...
    angle: float | Doubles | None = ...
    nominal_angle: float | None = ...

class Material(NamedTuple):
    name: str
    number: int
    kind: str

class Finding(NamedTuple):
    rule: str
    level: Level
    object: str
    message: str
    place: Literal["node", "element", "model"]
    members: Ints
    labels: Ints
    position: list[float] | None

class Findings(Table[Finding]):
    failures: list[str]

class ReportEntry(NamedTuple):
    outcome: Outcome
    kind: str
    name: str
    count: int
    reason: str

class Report(Table[ReportEntry]):
    def of(self, outcome: Outcome) -> list[ReportEntry]: ...
    kept: list[ReportEntry]
    noted: list[ReportEntry]
    findings: list[ReportEntry]
    changed: list[ReportEntry]
    dropped: list[ReportEntry]

class Format(NamedTuple):
    name: str
    endings: tuple[str, ...]
    is_read: bool
    is_written: bool

class Nodes:
    coordinates: Doubles
    labels: Ints
    def __len__(self) -> int: ...
    def ordinals(self, labels: ArrayLike) -> Ints: ...
    def at(self, members: Members) -> Doubles: ...
    def blocks(self, size: int = ...) -> Iterator[tuple[int, Doubles]]: ...

class Block:
    name: str
    number: int
    shape: str
    vtk_type: int
    vtk_order: list[int]
    connectivity: Ints
    elements: Ints
    labels: Ints
    attributes: dict[str, Doubles]
    def __len__(self) -> int: ...
    def blocks(self, size: int = ...) -> Iterator[tuple[int, Ints]]: ...

class MemberSet:
    name: str
    number: int
    members: Ints
    labels: Ints
    def __len__(self) -> int: ...
    def __contains__(self, label: int) -> bool: ...

class Surface:
    name: str
    number: int
    is_analytical: bool
    faces: Ints
    labels: Ints
    def __len__(self) -> int: ...

class Element:
    label: int
    ordinal: int
    block: Block
    nodes: Ints
    section: Section | None
    plies: Table[Layer]

class Section:
    name: str
    number: int
    elements: Ints
    labels: Ints
    layers: Table[Layer]
    def __len__(self) -> int: ...

class Sections(Named[Section]):
    def add(self, name: str, layers: Iterable[Layer | dict[str, Any]], *, elements: str) -> None: ...

class Values:
    field: Field
    frame: int
    members: Ints
    values: Doubles
    time: float
    step: str
    components: tuple[str, ...]
    shape: tuple[int, ...]
    labels: Ints
    def __array__(self, dtype: Any = ...) -> NDArray[Any]: ...
    def __len__(self) -> int: ...
    def __getitem__(self, key: Any) -> Any: ...
    def to_pandas(self) -> Any: ...
    def __arrow_c_stream__(self, requested_schema: Any = ...) -> Any: ...

class Field:
    name: str
    place: Literal["node", "element", "model"]
    identifier: str
    components: tuple[str, ...]
    has_points: bool
    has_layers: bool
    frames: list[int]
    times: Doubles
    members: Ints
    extents: tuple[int, int, int]
    def __len__(self) -> int: ...
    def __getitem__(self, time: int) -> Doubles: ...
    def __iter__(self) -> Iterator[Doubles]: ...
    def at(self, step: str | int | None = ..., *, time: float | None = ...,
           nodes: Members | None = ..., elements: Members | None = ..., layer: int | None = ...,
           point: int | Literal["bottom", "middle", "top"] | None = ...,
           integration_point: int | None = ...) -> Values: ...
    def blocks(self, step: str | int | None = ..., *, time: float | None = ..., size: int = ...,
               **spot: Any) -> Iterator[tuple[Ints, Doubles]]: ...

class Fields(Named[Field]):
    def add(self, name: str, values: ArrayLike, *, step: str = ..., time: float = ...,
            on: Literal["node", "element", "model"] = ..., members: ArrayLike | None = ...,
            labels: ArrayLike | None = ..., components: Sequence[str] | None = ...,
            points: Literal["integration points", "nodes", "faces"] | None = ...) -> None: ...

class Job:
    writer: str
    def status(self) -> Literal["none", "running", "completed", "failed", "other", "died"]: ...

class Model(AbstractContextManager["Model"]):
    nodes: Nodes
    elements: Sequence[Element]
    blocks: Named[Block]
    node_sets: Named[MemberSet]
    element_sets: Named[MemberSet]
    surfaces: Named[Surface]
    sections: Sections
    fields: Fields
    job: Job
    report: Report | None
    path: str
    closed: bool
    writable: bool
    generation: int
    title: str
    dimension: int
    element_labels: Ints
    materials: Table[Material]
    steps: list[str]
    def __exit__(self, *raised: Any) -> None: ...
    def close(self) -> None: ...
    def refresh(self) -> bool: ...
    def verify(self, progress: Progress = ...) -> list[str]: ...
    def element(self, label: int) -> Element: ...
    def check(self, only: Iterable[str] = ..., skip: Iterable[str] = ...,
              limits: Mapping[str, float] | None = ..., progress: Progress = ...) -> Findings: ...
    def transaction(self) -> AbstractContextManager[Model]: ...
    def add_nodes(self, coordinates: ArrayLike, labels: ArrayLike | None = ...) -> None: ...
    def add_block(self, name: str, shape: str, connectivity: ArrayLike,
                  labels: ArrayLike | None = ...) -> None: ...
    def add_node_set(self, name: str, members: ArrayLike | None = ..., *,
                     labels: ArrayLike | None = ...) -> None: ...
    def add_element_set(self, name: str, members: ArrayLike | None = ..., *,
                        labels: ArrayLike | None = ...) -> None: ...
    def add_surface(self, name: str, faces: ArrayLike) -> None: ...
    def to_meshio(self) -> Any: ...
    def to_pyvista(self) -> Any: ...

def open(path: Path, mode: Literal["r", "r+"] = ...) -> Model: ...
def create(path: Path) -> Model: ...
def create_in_memory() -> Model: ...
def convert(input: Path, output: Path, *, strict: bool = ..., force: bool = ...,
            layup: Path | None = ..., results_map: Path | None = ...,
            progress: Progress = ...) -> Report: ...
def import_file(input: Path, *, layup: Path | None = ..., results_map: Path | None = ...,
                progress: Progress = ...) -> Model: ...
def formats() -> list[Format]: ...
