"""Holds the slots that docs/storage-format.md lists, and the table `schema` of a database, against
ORQSimSchemaTable.inc.

check_schema_page.py ROOT DATABASE  fails where they differ
check_schema_page.py --write ROOT   writes the page's table
"""
import pathlib
import re
import sqlite3
import sys

PAGE = "docs/storage-format.md"
BEGIN, END = "<!-- slots: begin -->\n", "<!-- slots: end -->\n"
# What is needed to find the mesh, its sets, sections and results.
WANTED = """Focus Focus_model Focus_results Document_title Model_mesh Mesh_nodes Mesh_elements
Mesh_coordinates Mesh_connectivity Mesh_blocks Block_elements Block_attributes Mesh_instances
Mesh_nodeLabels Mesh_elementLabels Model_nodeSets Model_elementSets Model_surfaces
Region_nodesCluster Region_elementsCluster Region_elementsFacesCluster Model_sectionAssignments
SectionAssignment_region SectionAssignment_section Model_stepSequence Task_times
Task_timeDescription TimeDescription_distribution Task_fieldResults Task_historyFields
Field_distribution MeshedField_type MeshedField_component MeshedField_axes Task_conditions
Record_name""".split()


def fragments(root):
    """(number, kind, meaning) by name, for each row of the table of pairs."""
    text = (root / "platform/database/include/ORQSimSchemaTable.inc").read_text()
    rows = re.findall(r'^ORQ_FRAGMENT\((\w+), (\d+), (\d+), (\w+), \w+, "(.*)"\)$', text, re.M)
    return {name: (int(a) * 4096 + int(b) + 1, kind, meaning) for name, a, b, kind, meaning in rows}


def page_table(root):
    known = fragments(root)
    lines = ["| name | number | kind | what it leads to |", "| --- | --- | --- | --- |"]
    for name in WANTED:
        number, kind, meaning = known[name]
        lines.append(f"| `{name}` | {number} | {kind.lower()} | {meaning} |")
    return "\n".join(lines) + "\n"


def main():
    if sys.argv[1] == "--write":
        root = pathlib.Path(sys.argv[2])
        text = (root / PAGE).read_text()
        head, rest = text.split(BEGIN)
        (root / PAGE).write_text(head + BEGIN + page_table(root) + END + rest.split(END)[1])
        return
    root, database = pathlib.Path(sys.argv[1]), sys.argv[2]
    if page_table(root) not in (root / PAGE).read_text():
        sys.exit(f"{PAGE}: its slots are not those of the schema; --write writes them")
    db = sqlite3.connect(f"file:{database}/catalogue.sqlite?mode=ro", uri=True)
    stored = {name: (number, meaning) for number, name, meaning in
              db.execute("SELECT number, name, meaning FROM schema")}
    wanted = {name: (number, meaning) for name, (number, _, meaning) in fragments(root).items()}
    if stored != wanted:
        differing = sorted(set(stored.items()) ^ set(wanted.items()))
        sys.exit(f"{database}: its table schema differs: {differing[:4]}")


main()
