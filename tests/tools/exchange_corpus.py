"""Runs the collections of real model files through the program, and fails where less comes through than should.

exchange_corpus.py ORQMODEL CORPUS [--jobs N] [ONLY...]   files whose path has one of the texts; all without any
exchange_corpus.py --self-check                           whether planted faults are noticed

CORPUS has exchange.py beside the collections: it imports, verifies, exports and imports again, and counts nodes and
elements by shape in what VTK and its own parsers read. Ends with 77 where the corpus or VTK is absent.
"""
import argparse
import collections
import copy
import json
import os
import subprocess
import sys
import tempfile

SKIPPED = 77
FAMILIES = {"tri": "triangle", "quad": "quadrilateral", "tet": "tetrahedron", "hex": "hexahedron",
            "wedge": "wedge", "pyramid": "pyramid"}


def by_family(count):
    """Elements of two and three dimensions, whether or not they have nodes between their corners."""
    families = collections.Counter()
    for shape, number in count["shapes"].items():
        name = FAMILIES.get(shape.rstrip("0123456789"))
        if name:
            families[name] += number
    return families


def keeps_all(reference, got):
    """A deck has at least what the model has. The parser of decks goes by the names of cards: elements with nodes at
    their corners only count as those with all, and cards of elements that the model leaves out count too."""
    wanted, found = by_family(reference), by_family(got)
    return got["nodes"] >= reference["nodes"] and all(found[name] >= wanted[name] for name in wanted)


def faults(results):
    """A line for each file and for each kind of file with which something is wrong."""
    lines = []
    refused = collections.Counter()
    files = collections.Counter()
    for one in results:
        name, kind = one["f"], one["from"]
        if one["import"] == 3 and "begins neither as netCDF nor as HDF5" in one["error"]:
            continue  # other programs use the endings of Exodus II too
        files[kind] += 1
        if one["import"] not in (0, 1):
            refused[kind] += 1
            if one["import"] not in (2, 3):
                lines.append(f"{name}: the import ended with {one['import']}: {one['error']}")
            continue
        if one.get("verify") != 0 or one.get("check") not in (0, 1) or one.get("info") != 0:
            lines.append(f"{name}: verify {one.get('verify')}, check {one.get('check')}, info {one.get('info')}")
        for target in ("exo", "bdf", "vtu"):
            outcome = one.get(target)
            explained = target == "bdf" and outcome == "differs" and keeps_all(*one["bdf_got"])
            if outcome != "ok" and not explained:
                lines.append(f"{name}: to {target}: {outcome} {one.get(target + '_error', '')}")
    for kind, count in refused.items():
        if kind != "bdf" or count > 0.03 * files[kind]:
            lines.append(f"{kind}: {count} of {files[kind]} files are refused")
    return lines


def self_check():
    shapes = {"nodes": 4, "shapes": {"quad8": 1, "line2": 3}}
    good = {"f": "a", "from": "bdf", "import": 1, "error": "", "verify": 0, "check": 1, "info": 0, "exo": "ok",
            "vtu": "ok", "bdf": "differs", "bdf_got": [shapes, {"nodes": 4, "shapes": {"quad4": 2}}]}
    assert faults([good]) == [], faults([good])
    spoilt = {"import": -11, "verify": 3, "check": 70, "exo": "unreadable", "vtu": "refused",
              "bdf": "not imported again", "bdf_got": [shapes, {"nodes": 3, "shapes": {"quad8": 1}}]}
    for key, value in spoilt.items():
        one = copy.deepcopy(good)
        one[key] = value
        assert len(faults([one])) == (2 if key == "import" else 1), key
    few = [dict(good, **{"import": 3}) for _ in range(4)] + [good] * 97
    assert faults(few) == ["bdf: 4 of 101 files are refused"] and faults(few[1:]) == []
    assert faults([dict(good, **{"import": 3, "from": "msh"})]) == ["msh: 1 of 1 files are refused"]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("orqmodel", nargs="?")
    parser.add_argument("corpus", nargs="?")
    parser.add_argument("only", nargs="*", default=[])
    parser.add_argument("--jobs", default="2")
    parser.add_argument("--self-check", action="store_true")
    arguments = parser.parse_args()
    if arguments.self_check:
        self_check()
        return 0
    script = os.path.join(arguments.corpus, "exchange.py")
    if not os.path.exists(script):
        print("there is no corpus here")
        return SKIPPED
    if subprocess.run([sys.executable, "-c", "import vtkmodules.vtkIOExodus"], capture_output=True).returncode != 0:
        print("there is no VTK for Python here")
        return SKIPPED
    results = []
    with tempfile.TemporaryDirectory() as folder:
        for only in arguments.only or [""]:
            told = os.path.join(folder, "results.jsonl")
            subprocess.run([sys.executable, script, arguments.orqmodel, arguments.corpus, "--out", told, "--only", only,
                            "--jobs", arguments.jobs], check=True)
            results += [json.loads(line) for line in open(told)]
    lines = faults(results)
    print("\n".join(lines))
    print(f"{len(results)} files, {len(lines)} faults")
    return 1 if lines or not results else 0


if __name__ == "__main__":
    sys.exit(main())
