"""Does the everyday jobs of an analyst with the program, and compares what it says with known numbers.

user_jobs.py ORQMODEL MODELS [ONLY...]   jobs whose name has one of the words; all without any
user_jobs.py --self-check                whether wrong answers are noticed

MODELS holds real models and facts.json, what an independent reader counts in them. Jobs that need a model which is not
there are left out, and named; the others are done with models written here. Ends with 1 where anything is wrong.
"""
import csv
import io
import json
import pathlib
import struct
import subprocess
import sys
import tempfile

DECK = """BEGIN BULK
GRID,1,,0.,0.,0.
GRID,2,,1.,0.,0.
GRID,3,,2.,0.,0.
GRID,4,,0.,1.,0.
GRID,5,,1.,1.,0.
GRID,6,,2.,1.,0.
GRID,7,,3.,1.,0.
CQUAD4,11,5,1,2,5,4
CQUAD4,12,5,2,3,6,5
CTRIA3,13,,3,7,6
PSHELL,5,7,0.1
MAT1,7,7.+10,,0.3,7800.
SPC1,1,123,1,4
ENDDATA
"""
# One shell less, one node moved, one thickness changed.
OTHER = DECK.replace("CQUAD4,12,5,2,3,6,5\n", "").replace("GRID,7,,3.", "GRID,7,,3.5").replace("0.1\n", "0.2\n")

# A quadrilateral and a triangle that share no node, 3 and 5 in one place, and a result at three times.
MESH = "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n7\n" + "".join(
    f"{label} {x} {y} 0\n" for label, x, y in
    ((1, 0, 0), (2, 1, 0), (3, 1, 1), (4, 0, 1), (5, 1, 1), (6, 2, 1), (7, 1.5, 2))) + (
    '$EndNodes\n$Elements\n2\n1 3 2 1 1 1 2 3 4\n2 2 2 2 2 5 6 7\n$EndElements\n') + "".join(
    f'$NodeData\n1\n"heat"\n1\n{time}\n3\n{time}\n1\n7\n' +
    "".join(f"{label} {label * (time + 1)}\n" for label in range(1, 8)) + "$EndNodeData\n" for time in range(3)) + (
    '$ElementData\n1\n"flux"\n1\n2\n3\n2\n1\n2\n1 1\n2 2\n$EndElementData\n')


class Absent(Exception):
    """A model that is not on this machine."""


def same(got, wanted, what):
    if got != wanted:
        raise AssertionError(f"{what}: {got!r}, and not {wanted!r}")


def near(got, wanted, what):
    if abs(got - wanted) > 1e-9 * max(1, abs(wanted)):
        raise AssertionError(f"{what}: {got!r}, and not {wanted!r}")


def has(text, part, what):
    if part not in text:
        raise AssertionError(f"{what}: no {part!r} in {text[-500:]!r}")


class Desk:
    """The program, a folder to work in, and the models."""

    def __init__(self, program, models, folder):
        # Absolute, as it is started in another folder.
        self.program = str(pathlib.Path(program).resolve())
        self.models, self.folder = pathlib.Path(models), pathlib.Path(folder)
        facts = self.models / "facts.json"
        self.facts = json.loads(facts.read_text()) if facts.is_file() else {}
        self.count = 0

    def run(self, *arguments, status=0):
        """What the program prints, on both channels; of another status than the wanted one an error."""
        done = subprocess.run([self.program, *map(str, arguments)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              universal_newlines=True, cwd=self.folder, check=False)
        text = done.stdout + done.stderr
        if done.returncode != status:
            raise AssertionError(f"orqmodel {' '.join(map(str, arguments))}: status {done.returncode}, and not "
                                 f"{status}: {text[-800:]}")
        return text

    def json(self, *arguments, status=0):
        return json.loads(self.run(*arguments, "--json", status=status))

    def rows(self, *arguments):
        return list(csv.DictReader(io.StringIO(self.run("table", *arguments, "--csv"))))

    def names(self, kind, model):
        return [one["name"] for one in self.json("list", kind, model)["objects"]]

    def real(self, name):
        """A real model, imported, and what is known of it."""
        if name not in self.facts or not (self.models / name).is_file():
            raise Absent(name)
        return self.imported(self.models / name), self.facts[name]

    def written(self, text, ending):
        self.count += 1
        path = self.folder / f"written{self.count}{ending}"
        path.write_text(text)
        # An element without a property is a finding.
        return self.imported(path, 1 if "CTRIA3" in text else 0)

    def imported(self, path, status=0):
        self.count += 1
        model = self.folder / f"model{self.count}.orq"
        self.run("import", path, "-o", model, "-q", status=status)
        return model

    def sound(self, model):
        same(self.json("verify", model)["intact"], True, f"{model} is intact")


def members_of(facts, kind):
    """Members by name, of facts that name sets as "ID:NAME"."""
    return {name.split(":", 1)[1]: count for name, count in facts[kind].items()}


def picture_size(path):
    data = path.read_bytes()
    same(data[:8], b"\x89PNG\r\n\x1a\n", f"{path.name} is a picture")
    return struct.unpack(">II", data[16:24])


# --- The jobs ---------------------------------------------------------------------------------------------------------

def what_is_in_this_file(desk):
    model, facts = desk.real("basemat_isolators.e")
    info = desk.json("info", model)
    same((info["nodes"], info["elements"]), (facts["nodes"], facts["elements"]), "counts")
    same([(one["name"], one["shape"], one["elements"]) for one in info["blocks"]],
         [(one["name"], one["type"], one["elements"]) for one in facts["blocks"]], "blocks")
    for side, key in (("lowest", "min"), ("highest", "max")):
        for got, wanted in zip(info["bounding_box"][side], facts["bbox"][key]):
            near(got, wanted, "extent")


def its_sets(desk):
    model, facts = desk.real("block_crush_1.ex2")
    sets = {one["name"]: one["members"] for one in desk.json("list", "sets", model)["objects"]}
    same(sets, members_of(facts, "node_sets"), "sets")
    surfaces = {one["name"]: one["faces"] for one in desk.json("list", "surfaces", model)["objects"]}
    same(surfaces, members_of(facts, "side_sets"), "surfaces")


def elements_at_a_node(desk):
    told = desk.run("adjacency", desk.written(DECK, ".bdf"), "--node", 6)
    has(told, "12", "the elements at node 6")
    has(told, "13", "the elements at node 6")
    if "11" in told.split():
        raise AssertionError("element 11 does not have node 6")


def members_of_a_set(desk):
    model, facts = desk.real("basemat_isolators.e")
    rows = desk.rows(model, "--set", "connections")
    same(len(rows), members_of(facts, "node_sets")["connections"], "members")
    same(len({row["node"] for row in rows}), len(rows), "members that differ")


def what_changed(desk):
    told = desk.run("diff", desk.written(DECK, ".bdf"), desk.written(OTHER, ".bdf"), status=1).splitlines()
    same(len(told), 3, f"lines of {told}")
    for line, part in zip(told, ("nodes: 1 moved: PART-1 7", "elements: 1 removed: PART-1 12", "thickness")):
        has(line, part, "difference")
    model = desk.written(DECK, ".bdf")
    same(desk.run("diff", model, model), "", "no difference")


def elements_without_section(desk):
    blocks = desk.json("list", "blocks", desk.written(DECK, ".bdf"))["objects"]
    same(sum(one["elements"] for one in blocks if not one["sections"]), 1, "elements without section")
    model, facts = desk.real("flat_plate_composite.bdf")
    governed = sum(one["elements"] for one in desk.json("list", "sections", model)["objects"])
    same(governed, sum(facts["elements_per_property"].values()), "elements with section")


def stress_picture(desk):
    model, _ = desk.real("block_crush_1.ex2")
    desk.run("draw", model, "--field", "vonmises", "--step", 11, "-o", desk.folder / "stress.png")
    same(min(picture_size(desk.folder / "stress.png")) > 300, True, "its size")


def deformed_picture(desk):
    model, _ = desk.real("block_crush_1.ex2")
    desk.run("draw", model, "--deform", "displ:1", "--step", 11, "-o", desk.folder / "deformed.png")
    desk.run("draw", model, "-o", desk.folder / "plain.png")
    picture_size(desk.folder / "deformed.png")
    same((desk.folder / "deformed.png").read_bytes() == (desk.folder / "plain.png").read_bytes(), False,
         "the deformed shape is the plain one")


def maximum_and_where(desk):
    rows = desk.rows(desk.written(MESH, ".msh"), "--field", "heat", "--stats", "--step", 3)
    found = {row["what"]: row for row in rows}
    near(float(found["maximum"]["value"]), 21, "maximum")
    same(found["maximum"]["node"], "7", "where")
    near(float(found["maximum"]["y"]), 2, "where")
    near(float(found["mean"]["value"]), 12, "mean")


def csv_over_a_set(desk):
    model, facts = desk.real("block_crush_1.ex2")
    rows = desk.rows(model, "--field", "displ", "--set", "nodelist_30", "--step", 11)
    same(len(rows), members_of(facts, "node_sets")["nodelist_30"], "rows")


def history_of_a_node(desk):
    model, facts = desk.real("block_crush_1.ex2")
    rows = desk.rows(model, "--field", "displ", "--nodes", 5, "--step", "all")
    same([float(row["time"]) for row in rows], facts.get("times", [float(row["time"]) for row in rows]), "times")
    same(len(rows), 11, "times")
    own = desk.rows(desk.written(MESH, ".msh"), "--field", "heat", "--nodes", 4, "--step", "all")
    same([float(row["heat"]) for row in own], [4.0, 8.0, 12.0], "history")


def conversions_both_ways(desk):
    model, facts = desk.real("box_solid_shell_results.g")
    for ending in (".e", ".msh", ".bdf", ".vtu"):
        desk.run("export", model, "-o", desk.folder / f"out{ending}", "-q")
        info = desk.json("info", desk.imported(desk.folder / f"out{ending}"))
        same((info["nodes"], info["elements"]), (facts["nodes"], facts["elements"]), f"counts by way of {ending}")


def plies_of_an_element(desk):
    model, facts = desk.real("flat_plate_composite.bdf")
    told = desk.json("layers", model, "--element", 17)
    layers = told.get("layers") or told["section"]["layers"]
    plies = facts["layups"]["2"]["plies"]
    same(len(layers), len(plies), "plies")


def thickness_plot(desk):
    model, facts = desk.real("flat_plate_composite.bdf")
    desk.run("draw", model, "--color-by", "thickness", "-o", desk.folder / "thickness.png")
    picture_size(desk.folder / "thickness.png")
    rows = desk.rows(model, "--quantity", "thickness", "--stats")
    near(float(rows[0]["value"]), facts["layups"]["2"]["total_thickness"], "thickness")


def mass_area_volume(desk):
    model, facts = desk.real("flat_plate_composite.bdf")

    def total(of, quantity, *options):
        return next(float(row["value"]) for row in desk.rows(of, "--quantity", quantity, "--stats", *options)
                    if row["what"] == "sum")
    area = 1.0
    for low, high in zip(facts["bbox"]["min"][:2], facts["bbox"]["max"][:2]):
        area *= high - low
    near(total(model, "area"), area, "area of the plate")
    near(total(model, "mass"), area * facts["layups"]["2"]["total_thickness"] * 1300, "mass of the plate")
    box, facts = desk.real("box_solid_shell_results.g")
    near(total(box, "volume", "--block", "inner_core"), 2 * 3 * 4, "volume of the box")
    # Its shells have the thickness 1 as an attribute.
    near(total(box, "volume"), 2 * 3 * 4 + 2 * 3 + 2 * 4 + 3 * 4, "volume of the box with its shells")


def merge(desk):
    for name in ("basemat_isolators.e", "bwb_saero.bdf"):
        model, facts = desk.real(name)
        report = desk.json("edit", model, "merge-nodes", "--tolerance", 0, "--dry-run",
                           status=1 if name.endswith("bdf") else 0)
        same(report["report"]["changed"][0]["count"], facts["coincident_nodes"], f"merged nodes of {name}")
    model, facts = desk.real("block_crush_1.ex2")
    desk.run("edit", model, "merge-nodes", "--tolerance", 0)
    info = desk.json("info", model)
    same((info["nodes"], info["elements"]), (facts["nodes"] - facts["coincident_nodes"], facts["elements"]),
         "counts after merging")
    desk.sound(model)


def rename(desk):
    model, _ = desk.real("box_solid_shell_results.g")
    desk.run("edit", model, "rename", "block", "Shell-MinX", "skin")
    desk.run("edit", model, "rename", "set", "nodelist_1", "clamp")
    desk.run("export", model, "-o", desk.folder / "renamed.e", "-q")
    again = desk.imported(desk.folder / "renamed.e")
    same(desk.names("blocks", again), ["inner_core", "skin", "Shell-MaxY", "Shell-MinZ"], "blocks")
    same(desk.names("sets", again), ["clamp", "nodelist_2", "nodelist_3"], "sets")


def delete(desk):
    model, facts = desk.real("bwb_saero.bdf")
    before = len(desk.names("sets", model))
    desk.run("edit", model, "delete", "set", "SET1 200000")
    same(len(desk.names("sets", model)), before - 1, "sets")
    desk.run("edit", model, "drop-unused", "nodes")
    same(facts["nodes"] - desk.json("info", model)["nodes"] <= facts["unused_nodes"], True, "no used node is gone")
    desk.sound(model)


def shrink(desk):
    model, _ = desk.real("block_crush_1.ex2")
    for name in desk.names("fields", model)[:40]:
        desk.run("edit", model, "delete", "field", name, "-q")
    shrunk = desk.json("compact", model)
    same(shrunk["bytes_after"] < shrunk["bytes_before"], True, "the database is smaller")
    desk.sound(model)


def status_completion_and_manual(desk):
    told = desk.run("status", desk.written(DECK, ".bdf"))
    has(told.lower(), "job", "status")
    has(desk.run("completion", "bash"), "edit", "completion")
    has(desk.run("help", "--manual"), r"merge\-nodes", "manual page")
    has(desk.run("help", "edit"), "--dry-run", "help")


# --- Bad input --------------------------------------------------------------------------------------------------------

def unknown_names_have_near_ones(desk):
    model = desk.written(MESH, ".msh")
    for status, arguments, part in (
            (2, ("inof", model), "is it info?"),
            (2, ("table", model, "--field", "haet"), "heat"),
            (2, ("table", model, "--feild", "heat"), "--field"),
            (2, ("list", "blocs", model), "is it blocks?"),
            (2, ("edit", model, "rename", "field", "haet", "T"), '"heat"'),
            (2, ("edit", model, "delet", "field", "heat"), "is it delete?")):
        has(desk.run(*arguments, status=status), part, " ".join(map(str, arguments)))


def a_step_out_of_range(desk):
    model = desk.written(MESH, ".msh")
    has(desk.run("table", model, "--field", "heat", "--step", 4, status=2), "1 to 3", "step 4 of 3")


def a_field_of_another_place(desk):
    model = desk.written(MESH, ".msh")
    has(desk.run("table", model, "--field", "flux", "--nodes", 1, status=2), "of elements", "a field of elements")
    has(desk.run("draw", model, "--deform", "flux", "-o", "x.png", status=2), "vectors", "a deformation by numbers")


def an_empty_set_and_an_unmatched_pattern(desk):
    model = desk.written(DECK.replace("SPC1,1,123,1,4\n", "SET1,3,1\n"), ".bdf")
    desk.run("list", "sets", model, "nothing*", status=1)
    desk.run("edit", model, "delete", "set", "SET1 3")
    has(desk.run("list", "sets", model), "no sets", "no sets")


JOBS = [what_is_in_this_file, its_sets, elements_at_a_node, members_of_a_set, what_changed, elements_without_section,
        stress_picture, deformed_picture, maximum_and_where, csv_over_a_set, history_of_a_node, conversions_both_ways,
        plies_of_an_element, thickness_plot, mass_area_volume, merge, rename, delete, shrink,
        status_completion_and_manual, unknown_names_have_near_ones, a_step_out_of_range, a_field_of_another_place,
        an_empty_set_and_an_unmatched_pattern]


def self_check():
    """A program that says nothing does no job, and comparisons notice what differs."""
    with tempfile.TemporaryDirectory() as folder:
        for job in JOBS:
            desk = Desk("/bin/true", folder, folder)
            try:
                job(desk)
            except Absent:
                continue
            except (AssertionError, ValueError, KeyError, IndexError, OSError, StopIteration):
                continue
            raise SystemExit(f"{job.__name__}: a program that does nothing passes")
    for check, arguments in ((same, (1, 2, "")), (near, (1.0, 1.1, "")), (has, ("a", "b", ""))):
        try:
            check(*arguments)
        except AssertionError:
            continue
        raise SystemExit(f"{check.__name__} notices nothing")
    print("wrong answers are noticed")


def main(program, models, only):
    failures, absent = 0, []
    jobs = [job for job in JOBS if not only or any(word in job.__name__ for word in only)]
    for job in jobs:
        with tempfile.TemporaryDirectory() as folder:
            try:
                job(Desk(program, models, folder))
            except Absent as name:
                absent.append(f"{job.__name__} ({name})")
            except Exception as error:  # whatever it is, the other jobs are done
                failures += 1
                print(f"{job.__name__}: {type(error).__name__}: {error}")
    if absent:
        print("left out, without their models:", ", ".join(absent))
    print(f"{len(jobs) - failures - len(absent)} of {len(jobs)} jobs done")
    return 1 if failures else 0


if __name__ == "__main__":
    if sys.argv[1:] == ["--self-check"]:
        self_check()
    elif len(sys.argv) < 3:
        raise SystemExit(__doc__)
    else:
        raise SystemExit(main(sys.argv[1], sys.argv[2], sys.argv[3:]))
