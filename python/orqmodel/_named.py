"""Objects that are found by their names, and tables."""
from collections.abc import Mapping, Sequence


def missing(what, name, known):
    """A KeyError that says which names are near."""
    import difflib
    near = difflib.get_close_matches(str(name), known, n=3, cutoff=0.5) or list(known)[:3]
    names = ", ".join(repr(one) for one in near)
    return KeyError(f"no {what} is called {name!r}" + (f"; near are {names}" if near else ""))


class Named(Mapping):
    """Objects of a kind by name, in the order of the model; also by their places from 0."""

    def __init__(self, model, what, read, make):
        self._model, self._what, self._read, self._make = model, what, read, make
        self._epoch, self._rows, self._places = None, (), {}

    def _load(self):
        self._model._flush()
        epoch = self._model._handle.epoch
        if epoch != self._epoch or self._model._handle.is_closed:
            rows, places = self._read(), {}
            for place, row in enumerate(rows):
                places.setdefault(row[0], place)
            self._rows, self._places, self._epoch = rows, places, epoch
        return self._rows

    def _place(self, key):
        rows = self._load()
        if hasattr(key, "__index__"):
            key = key.__index__()
            if not -len(rows) <= key < len(rows):
                raise IndexError(f"{self._what} {key} is none of {len(rows)}")
            return key % len(rows)
        try:
            return self._places[key]
        except (KeyError, TypeError):
            raise missing(self._what, key, self._places) from None

    def _row(self, name):
        return self._load()[self._place(name)]

    def __getitem__(self, key):
        place = self._place(key)
        return self._make(self._model, self, self._rows[place][0])

    def __contains__(self, name):
        self._load()
        return name in self._places

    def __iter__(self):
        return iter([row[0] for row in self._load()])

    def __len__(self):
        return len(self._load())

    def __repr__(self):
        return f"<{self._what}s: {', '.join(self) or 'none'}>"


class Item:
    """One of them; finds itself again by name when the model has changed."""

    def __init__(self, model, among, name):
        self._model, self._among, self.name = model, among, name

    @property
    def _place(self):
        return self._among._place(self.name)

    @property
    def _row(self):
        return self._among._row(self.name)

    @property
    def _handle(self):
        return self._model._handle

    def __repr__(self):
        return f"<{self._among._what} {self.name!r}>"


class Table(Sequence):
    """Rows that are tuples with names; `to_pandas` makes a DataFrame of them."""

    def __init__(self, row_type, rows):
        self._row_type, self._rows = row_type, [row_type._make(row) for row in rows]

    def __getitem__(self, place):
        return self._rows[place]

    def __len__(self):
        return len(self._rows)

    def __eq__(self, other):
        return list(self) == list(other) if isinstance(other, Sequence) else NotImplemented

    def __repr__(self):
        return "\n".join(map(repr, self._rows)) or "<no rows>"

    def to_pandas(self):
        """A pandas.DataFrame with a column for each name; pandas has to be there."""
        import pandas
        return pandas.DataFrame(self._rows, columns=self._row_type._fields)

    def __arrow_c_stream__(self, requested_schema=None):
        """A capsule for readers of Arrow: a column for each name. Texts, int64 and float64, with
        nulls for None; lists where some row has an array. Another schema is not converted to."""
        from ._arrow import stream_of_rows
        return stream_of_rows(self._row_type._fields, self._rows)
