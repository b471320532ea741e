"""What reading from Python costs beside the C++ read under it, and beside h5py, meshio and pyvista
where they are there.

    PYTHONPATH=BUILD/python python3 python_rows.py [NODES] [--folder FOLDER]

Each row is a ratio to its peer in the same run; both read what the system holds in memory already.
"""
import argparse
import pathlib
import subprocess
import sys
import tempfile
import time

import numpy as np

import orqmodel


def best(act, times=5):
    """The shortest of some runs, in seconds, and what the last one returned."""
    shortest = float("inf")
    for _ in range(times):
        begin = time.perf_counter()
        result = act()
        shortest = min(shortest, time.perf_counter() - begin)
    return shortest, result


def row(name, ours, peer, what):
    print(f"{name:42} {ours * 1e3:10.2f} ms  {ours / peer:6.2f} x {what} ({peer * 1e3:.2f} ms)")


def make(path, n_nodes):
    """Nodes in rows of 1000, quadrilaterals over them, one field and a thousand sets."""
    width = 1000
    xyz = np.random.default_rng(1).random((n_nodes // width * width, 3))
    first = np.arange(len(xyz)).reshape(-1, width)
    quads = np.stack([first[:-1, :-1], first[:-1, 1:], first[1:, 1:], first[1:, :-1]], axis=-1)
    rng = np.random.default_rng(2)
    sets = [np.sort(rng.choice(len(xyz), 500, replace=False)) for _ in range(1000)]
    with orqmodel.create(path) as m, m.transaction():
        m.add_nodes(xyz)
        m.add_block("quads", "SHELL4", quads.reshape(-1, 4))
        m.sections.add("laminate", [dict(material="a", thickness=0.1, angle=a) for a in (0.0, 45.0, 90.0)],
                       elements="quads")
        for k, members in enumerate(sets):
            m.add_node_set(f"set {k}", members)
        for t in range(3):
            m.fields.add("U", xyz + t, time=float(t))
    return xyz, sets


def copied(path, read):
    """The C++ read into memory: what a model that is open for writing does."""
    def act():
        with orqmodel.open(path, "r+") as m:
            return read(m)
    return act


def opened(path, read):
    def act():
        with orqmodel.open(path) as m:
            return read(m)
    return act


def compare_arrays(path):
    reads = {"coordinates": lambda m: m.nodes.coordinates.shape,
             "connectivity": lambda m: m.blocks["quads"].connectivity.shape,
             "field of one step": lambda m: m.fields["U"][-1].shape}
    for name, read in reads.items():
        ours, _ = best(opened(path, read))
        peer, _ = best(copied(path, read))
        row(f"{name}, from opening on", ours, peer, "the C++ read")
    ours, _ = best(opened(path, lambda m: m.nodes.coordinates.sum()))
    peer, _ = best(copied(path, lambda m: m.nodes.coordinates.sum()))
    row("coordinates, and their sum", ours, peer, "the C++ read")


def compare_slices(path, folder, xyz, sets):
    with orqmodel.open(path) as m:
        u = m.fields["U"]
        chosen = [m.node_sets[f"set {k}"] for k in range(len(sets))]
        ours, values = best(lambda: [u.at(step=0, nodes=one).values for one in chosen], 2)
    np.testing.assert_array_equal(values[7], xyz[sets[7]] + 2)
    try:
        import h5py
    except ImportError:
        print("h5py is not there: no peer for slices")
        return
    with h5py.File(folder / "peer.h5", "w") as file:
        file.create_dataset("U", data=np.stack([xyz, xyz + 1, xyz + 2]))
    with h5py.File(folder / "peer.h5", "r") as file:
        data = file["U"]
        peer, _ = best(lambda: [data[2, members] for members in sets], 2)
    row("a thousand slices by set", ours, peer, "h5py")


def compare_handover(path, folder, xyz):
    """The mesh and the labels of its nodes as the object of a peer, beside the peer reading its own file."""
    try:
        import meshio
    except ImportError:
        print("meshio is not there: no peer for meshes")
        return
    ours, mesh = best(opened(path, lambda m: m.to_meshio()), 2)
    np.testing.assert_array_equal(mesh.points, xyz)
    mesh.point_sets = {}  # which its format does not have
    mesh.write(folder / "peer.vtu", compression=None)
    peer, _ = best(lambda: meshio.read(folder / "peer.vtu"), 2)
    row("a mesh and its sets for meshio", ours, peer, "meshio, without the sets")
    try:
        import pyvista
    except ImportError:
        print("pyvista is not there: no peer for grids")
        return
    ours, _ = best(opened(path, lambda m: m.to_pyvista()), 2)
    peer, _ = best(lambda: pyvista.read(folder / "peer.vtu"), 2)
    row("a grid for pyvista", ours, peer, "pyvista")


def time_plies(path):
    with orqmodel.open(path) as m:
        labels = m.element_labels[:100_000].tolist()
        ours, _ = best(lambda: [m.element(label).plies for label in labels], 2)
    print(f"{'plies of an element':42} {ours / len(labels) * 1e6:10.2f} us")


def time_import():
    command = [sys.executable, "-c", "import time; b = time.perf_counter(); import orqmodel; "
               "print(time.perf_counter() - b)"]
    ours = min(float(subprocess.run(command, capture_output=True, text=True, check=True).stdout)
               for _ in range(5))
    print(f"{'import of the package':42} {ours * 1e3:10.2f} ms")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("nodes", nargs="?", type=int, default=2_000_000)
    parser.add_argument("--folder", default=None)
    options = parser.parse_args()
    time_import()
    with tempfile.TemporaryDirectory(dir=options.folder) as name:
        folder = pathlib.Path(name)
        path = folder / "model.orq"
        xyz, sets = make(path, options.nodes)
        compare_arrays(path)
        compare_slices(path, folder, xyz, sets)
        compare_handover(path, folder, xyz)
        time_plies(path)


main()
