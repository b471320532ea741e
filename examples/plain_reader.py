"""Reads a model database without its library: with sqlite3 and NumPy, by what the catalogue says of itself.

    python3 plain_reader.py NAME.orq                           what there is
    python3 plain_reader.py NAME.orq coordinates               ordinal and coordinates of each node
    python3 plain_reader.py NAME.orq block NAME                number and value of each field of its record
    python3 plain_reader.py NAME.orq connectivity BLOCK        ordinal and nodes of each element
    python3 plain_reader.py NAME.orq nodeset|elementset NAME   ordinals, in the order of the set
    python3 plain_reader.py NAME.orq field NAME TIME           values of a field at a time, from 0

docs/storage-format.md describes the tables. Reading is safe at any time; nothing is verified here. Drawers are read of
databases of all versions, records of those from version 3 on.
"""
import sqlite3
import struct
import sys

import numpy as np

SCALARS = {1: "<i4", 2: "<u4", 3: "<f4", 4: "<f8", 5: "<i8", 6: "u1"}


class Packed:
    """A packed value: a byte that is its version, and counts and bytes."""

    def __init__(self, held):
        self.held, self.at = held, 1

    def has_more(self):
        return self.at < len(self.held)

    def count(self):
        number, shift = 0, 0
        while True:
            digit = self.held[self.at]
            self.at += 1
            number |= (digit & 127) << shift
            shift += 7
            if digit < 128:
                return number

    def bytes(self, size):
        self.at += size
        return self.held[self.at - size:self.at]


class Reader:
    def __init__(self, folder):
        self.db = sqlite3.connect(f"file:{folder}/catalogue.sqlite?mode=ro", uri=True)
        self.bulk = np.memmap(f"{folder}/bulk.bin", "u1", "r")
        self.format = self.one("SELECT format FROM state")
        if self.format >= 5:
            self.db.executescript(self.SHARED)
        self.slots = dict(self.rows("SELECT name, number FROM schema"))
        self.focus = self.one("SELECT id FROM object WHERE type = ?", self.slots["Focus"])
        self.model = self.child(self.focus, "Focus_model")
        self.mesh = self.child(self.model, "Model_mesh")
        self.steps = self.vector(self.model, "Model_stepSequence")

    # Tables of which the rows lie in shared ones from version 5 on, under the names that they had.
    SHARED = """
        CREATE TEMP VIEW child AS SELECT object, slot, key AS member, target_object, target_index
            FROM link WHERE kind = 0;
        CREATE TEMP VIEW vector_entry AS SELECT object, slot, key AS place, target_object
            FROM link WHERE kind = 1;
        CREATE TEMP VIEW name AS SELECT object, slot, text FROM text WHERE kind = 0;
        CREATE TEMP VIEW data_set AS SELECT object, target_object AS distribution
            FROM data_set_part WHERE kind = 0;"""

    def rows(self, sql, *values):
        return self.db.execute(sql, values).fetchall()

    def one(self, sql, *values):
        row = self.db.execute(sql, values).fetchone()
        return row[0] if row else None

    def child(self, parent, slot):
        return self.one("SELECT target_object FROM child WHERE object = ? AND slot = ? "
                        "AND member = 0", parent, self.slots[slot])

    def set_child(self, parent, slot):
        return self.one("SELECT target_index FROM child WHERE object = ? AND slot = ? "
                        "AND member = 0", parent, self.slots[slot])

    def vector(self, parent, slot):
        return [row[0] for row in self.rows(
            "SELECT target_object FROM vector_entry WHERE object = ? AND slot = ? ORDER BY place",
            parent, self.slots[slot])]

    def name(self, thing):
        return self.one("SELECT text FROM name WHERE object = ? AND slot = ?", thing,
                        self.slots["Record_name"])

    def record(self, thing):
        """The fields of a record by number. Databases of versions before 3 have them in a table of their own."""
        packed, fields = Packed(self.one("SELECT fields FROM object WHERE id = ?", thing)), {}
        while packed.has_more():
            number, kind = divmod(packed.count(), 8)
            count = packed.count()
            value = packed.bytes({2: 8 * count, 3: count}.get(kind, 0))
            fields[number] = {2: lambda: struct.unpack(f"<{count}d", value), 3: value.decode}.get(
                kind, lambda: count >> 1 ^ -(count & 1))()
        return fields

    def block(self, name):
        return {self.name(block): block for block in self.vector(self.mesh, "Mesh_blocks")}[name]

    def named_sets(self, slot):
        return dict(self.rows("SELECT name, target_index FROM map_entry WHERE object = ? "
                              "AND slot = ?", self.model, self.slots[slot]))

    def store(self, store, part=0):
        """The chunks of a store, by number: views of the file, or small ones as they stand in the row."""
        if part == 0 and self.format >= 4:
            for (held,) in self.rows("SELECT bytes FROM small_chunk WHERE store = ?", store):
                return {0: np.frombuffer(held, "u1")}
        return {row[0]: self.bulk[row[1]:row[1] + row[2]] if row[1] else np.frombuffer(row[-1], "u1")
                for row in self.rows("SELECT chunk, offset, length, extent.* FROM extent "
                                     "WHERE store = ? AND part = ?", store, part)}

    def members(self, form, first, count, stride, block, store, blob):
        if form == 0:
            return np.arange(first, first + count)
        if form == 1:
            return (first + stride * np.arange(count)[:, None] + np.arange(block)).ravel()
        if store:
            chunks = self.store(store)
            return np.concatenate([chunks[k] for k in sorted(chunks)]).view("<i4")[:count]
        return np.frombuffer(blob, "<i4")

    MEMBERS = "form, first, count, stride, block, store, members"

    def set(self, number):
        row = self.rows(f"SELECT {self.MEMBERS} FROM component_set WHERE id = ?", number)
        return self.members(*row[0]) if row else np.empty(0, int)

    def dimensions(self, distribution, drawer):
        """(members, chunk size) of each dimension of a drawer; no members of that along which it grows."""
        if self.format < 4:
            return [(self.set(number), chunk) for number, chunk in self.rows(
                "SELECT set_id, chunk FROM drawer_dimension WHERE distribution = ? "
                "AND drawer = ? ORDER BY dimension", distribution, drawer)]
        packed, dimensions = Packed(self.one("SELECT dimensions FROM drawer WHERE distribution = ? "
                                             "AND number = ?", distribution, drawer)), []
        while packed.has_more():
            form, chunk, first = packed.count(), packed.count(), packed.count()
            members = {0: lambda: self.set(first), 2: lambda: None,
                       1: lambda: np.arange(first, first + packed.count())}[form]()
            dimensions.append((members, chunk))
        return dimensions

    def drawers(self, distribution):
        """(members along each dimension, values) of each drawer that is not sparse."""
        scalar = self.one("SELECT scalar FROM distribution WHERE object = ?", distribution)
        for number, layout, extendable, n_rows, store in self.rows(
                "SELECT number, layout, extendable, n_rows, store FROM drawer "
                "WHERE distribution = ? AND layout < 2 ORDER BY number", distribution):
            dims = self.dimensions(distribution, number)
            along = max(extendable, 0)
            sets = [members for members, _ in dims]
            if extendable >= 0:
                sets[along] = np.concatenate([self.members(*row) for row in self.rows(
                    f"SELECT {self.MEMBERS} FROM drawer_segment WHERE distribution = ? "
                    "AND drawer = ? ORDER BY first_row", distribution, number)])
            others = [len(members) for k, members in enumerate(sets) if k != along]
            dtype = np.dtype(SCALARS[scalar])
            row_bytes = int(np.prod(others)) * dtype.itemsize
            in_chunk = dims[along][1] if layout == 1 else max(1, (4 << 20) // max(1, row_bytes))
            values = np.zeros((n_rows, row_bytes), "u1")
            for chunk, held in self.store(store).items():
                rows = held[:len(held) // row_bytes * row_bytes].reshape(-1, row_bytes)
                rows = rows[:n_rows - chunk * in_chunk]
                values[chunk * in_chunk:chunk * in_chunk + len(rows)] = rows
            yield sets, np.moveaxis(values.view(dtype).reshape(n_rows, *others), 0, along)

    def coordinates(self):
        for (nodes, _), values in self.drawers(self.child(self.mesh, "Mesh_coordinates")):
            yield from zip(nodes, values)

    def connectivity(self, block_name):
        wanted = self.set(self.set_child(self.block(block_name), "Block_elements"))
        distribution = self.one("SELECT distribution FROM data_set WHERE object = ?",
                                self.child(self.mesh, "Mesh_connectivity"))
        for (elements, _), nodes in self.drawers(distribution):
            held = np.isin(elements, wanted)
            yield from zip(elements[held], nodes[held])

    def fields(self, step):
        return [row[0] for row in self.rows("SELECT target_object FROM set_entry WHERE object = ? "
                                            "AND slot = ?", step, self.slots["Task_fieldResults"])]

    def field(self, name, time):
        """Of the first step that has it; without points and layers: time, member, component."""
        field = next(f for step in self.steps for f in self.fields(step) if self.name(f) == name)
        for sets, values in self.drawers(self.child(field, "Field_distribution")):
            if len(sets) == 3 and time in sets[0]:
                yield from zip(sets[1], values[list(sets[0]).index(time)])


def main(folder, what=None, *names):
    reader = Reader(folder)
    if what is None:
        print("blocks:", *(reader.name(block) for block in reader.vector(reader.mesh, "Mesh_blocks")))
        print("node sets:", *reader.named_sets("Model_nodeSets"))
        print("element sets:", *reader.named_sets("Model_elementSets"))
        print("fields:", *(reader.name(f) for step in reader.steps for f in reader.fields(step)))
        return
    if what in ("nodeset", "elementset"):
        sets = reader.named_sets({"nodeset": "Model_nodeSets", "elementset": "Model_elementSets"}[what])
        rows = ([member] for member in reader.set(sets[names[0]]))
    elif what == "block":
        rows = reader.record(reader.block(names[0])).items()
    else:
        rows = ([member, *values] for member, values in {
            "coordinates": reader.coordinates, "connectivity": reader.connectivity,
            "field": lambda name, time: reader.field(name, int(time))}[what](*names))
    for row in rows:
        print(*(repr(value.item()) if hasattr(value, "item") else value for value in row))


if __name__ == "__main__":
    main(*sys.argv[1:])
