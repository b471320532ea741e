"""Holds examples/plain_reader.py, which knows the storage format alone, against `orqmodel table`.

plain_reader_test.py ORQMODEL HELLO_MODEL EXAMPLES
"""
import csv
import json
import pathlib
import subprocess
import sys
import tempfile

program, hello, examples = sys.argv[1], sys.argv[2], pathlib.Path(sys.argv[3])


def run(*command):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True,
                          text=True).stdout


def plain(*arguments):
    """Rows of numbers, the first of which is an ordinal."""
    lines = run(sys.executable, examples / "plain_reader.py", *arguments).splitlines()
    return [[float(number) for number in line.split()] for line in lines]


def table(database, *arguments, first):
    """Rows of numbers, the first of which is a label."""
    rows = list(csv.reader(run(program, "table", database, "--csv", *arguments).splitlines()))
    place, begin = rows[0].index(first[0]), rows[0].index(first[1])
    return [[float(row[place])] + [float(number) for number in row[begin:] if number]
            for row in rows[1:]]


def same(what, ours, theirs):
    assert ours and ours == theirs, f"{what}: {ours[:3]} ... is not {theirs[:3]} ..."


def compare(database, block, node_set):
    nodes = table(database, "--quantity", "coordinates", first=("node", "x"))
    labels = [node[0] for node in nodes]
    read = plain(database, "coordinates")
    same("coordinates", [[labels[int(row[0])]] + row[1:] for row in read], nodes)
    elements = table(database, "--quantity", "connectivity", "--block", block,
                     first=("element", "node 1"))
    read = plain(database, "connectivity", block)
    same("connectivity", [[labels[int(node)] for node in row[1:]] for row in read],
         [element[1:] for element in elements])
    members = table(database, "--quantity", "coordinates", "--set", node_set, first=("node", "x"))
    same("set", sorted(labels[int(row[0])] for row in plain(database, "nodeset", node_set)),
         sorted(row[0] for row in members))


with tempfile.TemporaryDirectory() as folder:
    model = pathlib.Path(folder) / "hello.orq"
    run(hello, model)
    compare(model, "plate", "root")
    field = table(model, "--field", "U", first=("node", "U1"))
    same("field", [[row[0] + 1] + row[1:] for row in plain(model, "field", "U", 0)], field)

    wing = pathlib.Path(folder) / "wing.orq"
    # Small pieces, so that arrays lie in several.
    run(program, "import", examples / "wing_box/wing_box.e", "-o", wing, "--chunk-nodes", "100")
    listed = run(sys.executable, examples / "plain_reader.py", wing).splitlines()
    blocks, sets = listed[0].split()[1:], listed[1].split()[2:]
    assert blocks and sets, listed
    shapes = {block["name"]: block["shape"] for block in
              json.loads(run(program, "list", "blocks", wing, "--json"))["objects"]}
    for block in blocks:
        compare(wing, block, sets[0])
        fields = dict(line.split(maxsplit=1) for line in run(
            sys.executable, examples / "plain_reader.py", wing, "block", block).splitlines())
        assert fields["2"] == shapes[block], f"{block}: {fields} is not {shapes[block]}"
