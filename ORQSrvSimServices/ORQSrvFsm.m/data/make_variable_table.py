"""Makes the output-variable table from its catalogue, output_variables.txt, which describes its format.

make_variable_table.py records CATALOGUE OUTPUT       one ORQ_VARIABLE(label, component, identifier, a, b) a record
make_variable_table.py descriptions CATALOGUE OUTPUT  one ORQ_DESCRIPTION(identifier, text) an identifier
"""

import re
import sys

WHOLE = 38
# Components by kind: what their labels end in, and their symbols; two for one label share it.
OFF_DIAGONAL = {"12": (5, 9), "13": (10, 11), "23": (18, 19)}
DIAGONAL = {"11": (1,), "22": (14,), "33": (23,)}
SYMMETRIC = {**DIAGONAL, **OFF_DIAGONAL}
KINDS = {
    "scalar": {},
    "axial": {"1": (0,)},
    "plane": {"1": (0,), "2": (12,)},
    "vector": {"1": (0,), "2": (12,), "3": (20,)},
    "rotation": {"1": (31,), "2": (32,), "3": (33,)},
    "principals": {"1": (24,), "2": (25,), "3": (26,)},
    "quaternion": {"0": (27,), "1": (28,), "2": (29,), "3": (30,)},
    "bar": {"11": (1,)},
    "beam": {part: SYMMETRIC[part] for part in ("11", "12", "13")},
    "wall": {part: SYMMETRIC[part] for part in ("11", "12", "13", "22", "33")},
    "tensor": {part: SYMMETRIC[part] for part in sorted(SYMMETRIC)},
    "inertia": {part: SYMMETRIC[part][:1] for part in sorted(SYMMETRIC)},
    "gradient": {"11": (1,), "12": (5,), "13": (10,), "21": (13,), "22": (14,), "23": (18,),
                 "31": (21,), "32": (22,), "33": (23,)},
}
PRINCIPAL_COMPONENTS = {"1": 35, "2": 36, "3": 37}


class Catalogue:
    def __init__(self, path):
        self.path = path
        self.fields = {}  # names of field types and of groups of them -> pairs
        self.records = []
        self.descriptions = {}
        with open(path, encoding="ascii") as lines:
            for number, line in enumerate(lines, 1):
                text = line.split("#")[0].strip()
                try:
                    if text.startswith("field "):
                        self.define(text[len("field "):])
                    elif text:
                        self.add_family(text)
                except (KeyError, ValueError) as error:
                    sys.exit(f"{path}:{number}: {type(error).__name__}: {error}")

    def define(self, text):
        name, value = (part.strip() for part in text.split("="))
        self.fields[name] = [tuple(map(int, value.split(",")))] if "," in value else self.types(value)

    def types(self, text):
        """The pairs that a list of names stands for; "-Name" takes one away again."""
        found = []
        for name in text.split():
            if name.startswith("-"):
                for pair in self.fields[name[1:]]:
                    found.remove(pair)
            else:
                found += self.fields[name]
        return found

    def add_family(self, text):
        identifier, label, kind, fields, *options, description = (part.strip() for part in text.split("|"))
        numbers = re.search(r"\{(\d+)-(\d+)\}", label)
        if numbers is None:
            self.add(identifier, label, kind, fields, options, description)
            return
        for number in range(int(numbers[1]), int(numbers[2]) + 1):
            self.add(identifier.replace("{}", str(number)), label.replace(numbers[0], str(number)),
                     kind, fields, options, description.replace("{}", str(number)))

    def add(self, identifier, label, kind, fields, options, description):
        types = self.types(fields)
        whole, _, stem = label.partition("/")
        stem = stem or whole
        kind, *apart = kind.split()
        options = dict(option.split("=", 1) for option in options if option)
        missing = self.missing(options.pop("without", ""))
        self.descriptions.setdefault(identifier, description)
        self.put(whole, [WHOLE], identifier, types, False)
        for ending, symbols in KINDS[kind].items():
            name = stem + ending
            self.put(name, symbols, identifier, [t for t in types if t not in missing.get(name, [])],
                     bool(apart))
        for name, found in self.named(options.pop("principals", ""), types):
            for ending, symbol in PRINCIPAL_COMPONENTS.items():
                self.put(name + ending, [symbol], identifier, found, False)
        for name, found in self.named(options.pop("also", ""), types):
            self.put(name, [WHOLE], identifier, found, False)
        if options:
            raise ValueError(f"unknown option {sorted(options)}")

    def put(self, label, symbols, identifier, types, apart):
        """The second symbol of a label follows the first one: at once, or, of labels that stand
        apart, at once for the first type and behind all first symbols for the others."""
        if not 1 <= len(label) <= 30:
            raise ValueError(f"label {label} is not of 1 to 30 characters")
        later = []
        for place, pair in enumerate(types):
            self.records.append((label, symbols[0], identifier, *pair))
            for symbol in symbols[1:]:
                (later if apart and place > 0 else self.records).append((label, symbol, identifier, *pair))
        self.records += later

    def named(self, text, types):
        """Names, each with the types it occurs in: "A B" in those of the family, "A@Group" in the group's."""
        for item in text.split(","):
            if item.strip():
                name, _, group = item.strip().partition("@")
                yield name, self.types(group) if group else types

    def missing(self, text):
        return dict(self.named(text, []))


def main(what, source, target):
    catalogue = Catalogue(source)
    if what == "records":
        lines = (f'ORQ_VARIABLE("{label}", {symbol}, "{identifier}", {a}, {b})\n'
                 for label, symbol, identifier, a, b in catalogue.records)
    else:
        lines = (f'ORQ_DESCRIPTION("{identifier}", "{text}")\n'
                 for identifier, text in sorted(catalogue.descriptions.items()))
    with open(target, "w", encoding="ascii") as output:
        output.writelines(lines)


if __name__ == "__main__":
    main(*sys.argv[1:])
