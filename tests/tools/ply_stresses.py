"""Evaluates the ply strains, stresses and failure indices of the wing box by itself, and compares them
with the tables in a folder: ply_stresses.py FOLDER LAYUP.json MESH.e"""
import csv
import json
import subprocess
import sys

import numpy as np

folder, layup_file, _ = sys.argv[1:4]
layup = json.load(open(layup_file))


def rows(name):
    return list(csv.DictReader(open(f"{folder}/{name}.csv")))


nodes = {int(r["node"]): (float(r["x"]), float(r["y"])) for r in rows("nodes")}
centroids = {}
order = []
for r in rows("elements"):
    of = [int(v) for k, v in r.items() if k.startswith("node") and v]
    centroids[int(r["element"])] = np.mean([nodes[n] for n in of], axis=0)
    order.append(int(r["element"]))

# Elements by block, in the order of the file: what thicknesses by set count.
first = {"skin_upper": 10001, "skin_lower": 20001, "spar_front": 40001, "spar_rear": 30001, "ribs": 60001,
         "stringers": 50001}


def part(element):
    return next(n for n, f in first.items() if f <= element < f + 10000)


triangles = {int(r["element"]) for r in rows("elements") if len([v for k, v in r.items() if k.startswith("node") and v]) == 3}
in_set = {}
for element in order:
    name = part(element) + ("_tri" if element in triangles else "")
    in_set.setdefault(name, []).append(element)
place = {e: (name, i) for name, es in in_set.items() for i, e in enumerate(es)}
materials = {m["name"]: m["constants"] for m in layup["materials"]}
section_of = {s: a["section"] for a in layup["assignments"] for s in a["elements"]}
sections = [s["name"] for s in layup["sections"]]


def stack(element):
    name = section_of[place[element][0]]
    section = layup["sections"][sections.index(name)]
    half = section["layers"]
    return sections.index(name), half + half[::-1] if section["symmetric"] else half


def thickness(layer, element):
    t = layer["thickness"]
    return t if isinstance(t, float) else t["sets"][place[element][0]][place[element][1]]


expected = {}
for element, (x, y) in centroids.items():
    number, layers = stack(element)
    f = 1 - y / 7.2
    membrane = np.array([1e-3 * f, -3e-4 * f, 2e-4 * x]) / (1 + number)
    curvature = np.array([0.05 * f, -0.01 * f, 0.02]) / (1 + number)
    t = np.array([thickness(layer, element) for layer in layers])
    z = np.concatenate([[0], np.cumsum(t)]) - t.sum() / 2
    for k, layer in enumerate(layers):
        m = materials[layer["material"]]
        a = np.radians(layer["angle"])
        c, s = np.cos(a), np.sin(a)
        # Strain as a tensor, turned as one; stiffness as the inverse of the compliance.
        q = np.array([[c, s], [-s, c]])
        stiffness = np.linalg.inv(np.array([[1 / m["E1"], -m["nu12"] / m["E1"], 0],
                                            [-m["nu12"] / m["E1"], 1 / m["E2"], 0], [0, 0, 1 / m["G12"]]]))
        for point, at in enumerate([z[k], (z[k] + z[k + 1]) / 2, z[k + 1]]):
            e = membrane + at * curvature
            tensor = q @ np.array([[e[0], e[2] / 2], [e[2] / 2, e[1]]]) @ q.T
            strain = np.array([tensor[0, 0], tensor[1, 1], tensor[0, 1]])
            stress = stiffness @ (strain * [1, 1, 2])
            result = {"E": strain, "S": stress}
            if "Xt" in m:
                s1, s2, s12 = stress
                f1, f2 = 1 / m["Xt"] - 1 / m["Xc"], 1 / m["Yt"] - 1 / m["Yc"]
                matrix = np.array([[1 / m["Xt"] / m["Xc"], 0], [0, 1 / m["Yt"] / m["Yc"]]])
                matrix[0, 1] = matrix[1, 0] = -0.5 * np.sqrt(matrix[0, 0] * matrix[1, 1])
                pair = np.array([s1, s2])
                result["TSAIW"] = [np.dot([f1, f2], pair) + pair @ matrix @ pair + (s12 / m["S"]) ** 2]
                X, Y = m["Xt" if s1 >= 0 else "Xc"], m["Yt" if s2 >= 0 else "Yc"]
                result["TSAIH"] = [(s1 / X) ** 2 - s1 * s2 / X**2 + (s2 / Y) ** 2 + (s12 / m["S"]) ** 2]
                result["MSTRS"] = [max(abs(s1) / X, abs(s2) / Y, abs(s12) / m["S"])]
            expected[element, k + 1, point + 1] = result

columns = {"E": ["E11", "E22", "E12"], "S": ["S11", "S22", "S12"], "TSAIW": ["TSAIW"], "TSAIH": ["TSAIH"],
           "MSTRS": ["MSTRS"]}
failed = 0
for field, names in columns.items():
    seen = 0
    for r in rows(field):
        key = int(r["element"]), int(r["layer"]), int(r["section point"])
        got = np.array([float(r[n]) for n in names])
        want = np.array(expected[key][field])
        seen += 1
        if not np.allclose(got, want, rtol=1e-9, atol=1e-9 * np.abs(want).max()):
            failed += 1
            print(field, key, got, want)
            if failed > 5:
                sys.exit(1)
    wanted = sum(field in result for result in expected.values())
    if seen != wanted:
        failed += 1
        print(field, seen, "rows of", wanted)
sys.exit(1 if failed else 0)
