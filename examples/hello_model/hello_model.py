"""A model made, read again and checked: two shells of three layers, and their displacements.

    python3 hello_model.py NAME.orq
"""
import sys

import orqmodel

points = [[0, 0, 0], [1, 0, 0], [2, 0, 0], [0, 1, 0], [1, 1, 0], [2, 1, 0]]
name = sys.argv[1] if len(sys.argv) == 2 else "hello.orq"

with orqmodel.create(name) as m, m.transaction():  # undone when anything raises
    m.add_nodes(points)
    m.add_block("plate", "SHELL4", [[0, 1, 4, 3], [1, 2, 5, 4]])
    m.add_node_set("root", [0, 3])
    m.sections.add("laminate", elements="plate", layers=[
        dict(material="carbon", thickness=0.2, angle=angle) for angle in (45.0, 0.0, 45.0)])
    m.fields.add("U", points, step="Loading", time=1.0)

with orqmodel.open(name) as m:
    print(f"{len(m.nodes)} nodes, root of {len(m.node_sets['root'])}, "
          f"{len(m.sections['laminate'].layers)} layers")
    print(f"U1 of the last node: {m.fields['U'][-1][-1, 0]:g}")
    for finding in m.check():
        print(finding.rule, finding.message)
