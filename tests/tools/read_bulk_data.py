"""Prints what a bulk data deck says, as JSON: an independent, small reader for tests.

nodes (label: [x, y, z]), elements (label: [card, property, nodes]), plies (property: [[material, thickness,
angle]]), materials (number: [card, values, null where blank]), cards (name: how many). Knows just what the decks
of the tests use: basic coordinates, laminates whose plies name everything.
"""
import json
import os
import re
import sys

CORNERS = {"CQUAD4": 4, "CQUAD8": 8, "CTRIA3": 3, "CBAR": 2}


def lines(path):
    for line in open(path):
        line = line.split("$")[0].rstrip()
        if line.upper().startswith("INCLUDE"):
            yield from lines(os.path.join(os.path.dirname(path), line[7:].strip().strip("'\"")))
        elif line:
            yield line


def split(line):
    if "," in line:
        return [field.strip() for field in line.split(",")]
    line = line.expandtabs(8)
    width = 16 if "*" in line[:8] else 8
    return [line[:8].strip()] + [line[i:i + width].strip() for i in range(8, min(len(line), 72), width)]


def cards(path):
    text = list(lines(path))
    begin = next(i for i, line in enumerate(text) if line.upper().startswith("BEGIN"))
    card = []
    for line in text[begin + 1:]:
        if line.startswith("ENDDATA"):
            break
        fields = split(line)
        n = 4 if "*" in fields[0] else 8
        fields = fields[:1] + (fields[1:] + [""] * n)[:n]
        if fields[0][:1] in ("", "+", "*"):
            card += fields[1:]
        else:
            if card:
                yield card
            card = [fields[0].rstrip("*")] + fields[1:]
    yield card


def number(field):
    if not field:
        return None
    return float(re.sub(r"(?<=[\d.])([+-]\d+)$", r"e\1", field)) if "E" not in field.upper() else float(field)


def main(path):
    deck = {"nodes": {}, "elements": {}, "plies": {}, "materials": {}, "cards": {}}
    for card in cards(path):
        name = card[0]
        deck["cards"][name] = deck["cards"].get(name, 0) + 1
        if name == "GRID":
            assert card[2] in ("", "0")
            deck["nodes"][card[1]] = [number(field) for field in card[3:6]]
        elif name in CORNERS:
            deck["elements"][card[1]] = [name, int(card[2]), [int(g) for g in card[3:3 + CORNERS[name]]]]
        elif name == "PCOMP":
            plies = [card[i:i + 4] for i in range(9, len(card), 4)]
            deck["plies"][card[1]] = [[int(p[0]), number(p[1]), number(p[2])] for p in plies if any(p)]
        elif name.startswith("MAT"):
            values = [number(field) for field in card[2:]]
            while values and values[-1] is None:
                values.pop()
            deck["materials"][card[1]] = [name, values]
    print(json.dumps(deck))


main(sys.argv[1])
