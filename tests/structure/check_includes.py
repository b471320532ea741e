"""Checks that includes point downwards, from each floor of the house to those below.

check_includes.py ROOT         fails with one line for each include that breaks a rule
check_includes.py --graph ROOT lists which parts and rooms include which, with the number of includes
check_includes.py --self-check checks the check against planted faults

The rules, for every include of a file of the house:
  1. it does not point to a higher floor;
  2. a private file, which lies outside the public directories, is included from its own part only;
  3. a public header includes only public headers;
  4. no rooms of a part include each other, be it by way of others;
  5. of the storage engine, the floor above includes the seam only, and the seam nothing else of it;
  6. SQLite's header is included by the storage engine only.
"""

import pathlib
import posixpath
import re
import sys
import tempfile

# Directory, floor, part. The longest directory that holds a file decides.
PLACES = [
    ("platform/base", 0, "base"),
    ("platform/database/src/storage", 1, "database"),
    ("platform/database", 2, "database"),
    ("platform/objects", 3, "objects"),
    ("ORQSrvSimServices", 4, "services"),
    ("exchange", 5, "exchange"),
    ("tools", 6, "tools"),
    ("python", 6, "python"),
]
PUBLIC = ["platform/base/include", "platform/database/include", "platform/objects/include",
          "ORQSrvSimServices/PublicInterfaces", "exchange/include"]
# Rooms of a part are its folders; below these directories the folder itself is a room of its own.
HALLS = ["exchange/formats", "exchange", "tools/orqmodel"]
# The storage engine, what the floor above may include of it, and the header that stays inside.
ENGINE = "platform/database/src/storage"
SEAM = [ENGINE + "/PackedCount.h", ENGINE + "/PackedDimensions.h", ENGINE + "/PackedFields.h", ENGINE + "/Rows.h", ENGINE + "/Salvage.h",
        ENGINE + "/SharedModels.h", ENGINE + "/Store.h", ENGINE + "/StreamedCopy.h"]
SQLITE = "sqlite3.h"
INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.MULTILINE)
SUFFIXES = {".h", ".hpp", ".cpp", ".inl"}


def lies_in(path, directory):
    return path.startswith(directory + "/")


def place(path):
    _, floor, part = max(row for row in PLACES if lies_in(path, row[0]))
    return floor, part


def is_public(path):
    return any(lies_in(path, directory) for directory in PUBLIC)


def target_of(path, text, files):
    """The file of the house that an include names, or None; beside the including file comes first."""
    beside = posixpath.normpath(posixpath.join(posixpath.dirname(path), text))
    if beside in files:
        return beside
    tail = "/" + re.sub(r"^(\.\.?/)+", "", text)
    matches = sorted(name for name in files if ("/" + name).endswith(tail))
    # A private file of another part may bear the same name as one that is meant here.
    return min(matches, key=lambda name: place(name)[1] != place(path)[1], default=None)


def room(path):
    """The folder below a hall that a file lies in, None for what lies in no hall or in one itself."""
    for hall in HALLS:
        if lies_in(path, hall) and "/" in path[len(hall) + 1:]:
            return hall + "/" + path[len(hall) + 1:].split("/")[0]
    return None


def graph(files, node):
    """The numbers of includes by pair of nodes, and an example of each."""
    counts, examples = {}, {}
    for path, text in sorted(files.items()):
        for included in INCLUDE.findall(text):
            target = target_of(path, included, files)
            if target is not None and node(path) and node(target) and node(path) != node(target):
                pair = (node(path), node(target))
                counts[pair] = counts.get(pair, 0) + 1
                examples.setdefault(pair, f"{path}: includes {target}")
    return counts, examples


def reached(pairs, start):
    """The nodes that can be reached from one, which is among them if it lies on a circle."""
    found, pending = set(), [start]
    while pending:
        here = pending.pop()
        new = {b for a, b in pairs if a == here} - found
        found |= new
        pending += new
    return found


def circles(pairs):
    """Nodes that reach each other, as sorted lists."""
    reach = {node: reached(pairs, node) for pair in pairs for node in pair}
    return sorted({tuple(sorted(b for b in reach[a] if a in reach[b])) for a in reach if a in reach[a]})


def circular_rooms(files):
    _, examples = graph(files, room)
    for rooms in circles(examples):
        within = [text for (a, b), text in sorted(examples.items()) if a in rooms and b in rooms]
        yield f"{', '.join(rooms)} include each other: {'; '.join(within)}"


def print_graph(files):
    def node(path):
        if lies_in(path, ENGINE):
            return ENGINE
        return room(path) or place(path)[1] + ("" if is_public(path) else " inside")
    counts, _ = graph(files, node)
    for (a, b), count in sorted(counts.items()):
        print(f"{a:28} -> {b:28} {count:4}")
    upward = sum("floors up" in fault for fault in faults(files))
    print(f"circles: {len(circles(counts))}, includes that point upwards: {upward}")


def engine_faults(files):
    for path, text in sorted(files.items()):
        if lies_in(path, ENGINE) and path not in SEAM:
            continue
        for included in INCLUDE.findall(text):
            target = target_of(path, included, files) or ""
            if included == SQLITE:
                yield f"{path}: includes {SQLITE}, which only the storage engine may"
            elif (lies_in(target, ENGINE) and target not in SEAM
                  and place(path)[1] == "database" and not is_public(path)):  # rules 2, 3 else
                yield f"{path}: includes {target}, which is behind the seam of the storage engine"


def faults(files):
    """`files` holds the texts by path from the root."""
    yield from circular_rooms(files)
    yield from engine_faults(files)
    for path, text in sorted(files.items()):
        floor, part = place(path)
        for included in INCLUDE.findall(text):
            target = target_of(path, included, files)
            if target is None:
                continue
            target_floor, target_part = place(target)
            if target_floor > floor:
                yield f"{path}: includes {target}, which is {target_floor - floor} floors up"
            elif not is_public(target) and target_part != part:
                yield f"{path}: includes {target}, which is private to {target_part}"
            elif is_public(path) and not is_public(target):
                yield f"{path}: is public and includes {target}, which is not"


def read(root):
    return {file.relative_to(root).as_posix(): file.read_text(encoding="utf-8")
            for directory, _, _ in PLACES
            for file in (root / directory).rglob("*") if file.suffix in SUFFIXES}


def self_check():
    house = {
        "platform/base/include/Text.h": "#include <string>\n",
        "platform/base/src/Text.cpp": '#include "Text.h"\n',
        "platform/database/src/storage/Extent.h": '#include "Text.h"\n#include <sqlite3.h>\n',
        "platform/database/src/storage/Rows.h": "#include <tuple>\n",
        "platform/database/src/storage/Store.h": '#include "Rows.h"\n',
        "platform/database/src/storage/Engine.h": '#include "Extent.h"\n#include "Store.h"\n',
        "platform/database/include/Position.h": '#include "Text.h"\n',
        "platform/database/src/Position.cpp": '#include "Position.h"\n#include "storage/Store.h"\n',
        "platform/objects/include/Mesh.h": '#include "Position.h"\n',
        "ORQSrvSimServices/PublicInterfaces/Areas.h": '#include "Mesh.h"\n',
        "ORQSrvSimServices/Fsm/src/Areas.cpp": '#include "Areas.h"\n#include "Assert.h"\n',
        "ORQSrvSimServices/Fsm/src/Assert.h": "",
        "exchange/include/Wing.h": '#include "Areas.h"\n',
        "exchange/model/Blocks.h": '#include "Wing.h"\n',
        "exchange/formats/gmsh/Mesh4.h": '#include "model/Blocks.h"\n',
        "exchange/formats/vtk/Grid.h": '#include "formats/gmsh/Mesh4.h"\n',
        "tools/model/main.cpp": '#include "Areas.h"\n#include "Wing.h"\n',
    }
    planted = [
        ("platform/base/include/Text.h", '#include "Position.h"', "floors up"),
        ("platform/base/src/Text.cpp", '#include <Mesh.h>', "floors up"),
        ("platform/database/src/storage/Extent.h", '  #  include "Position.h"', "floors up"),
        ("platform/objects/include/Mesh.h", '#include "storage/Extent.h"', "private"),
        ("platform/objects/include/Mesh.h", '#include "Areas.h"', "floors up"),
        ("ORQSrvSimServices/Fsm/src/Areas.cpp",
         '#include "../../../platform/database/src/storage/Extent.h"', "private"),
        ("platform/database/include/Position.h", '#include "Extent.h"', "is public"),
        ("tools/model/main.cpp", '#include "Assert.h"', "private"),
        ("tools/model/main.cpp", '#include "model/Blocks.h"', "private"),
        ("exchange/formats/gmsh/Mesh4.h", '#include "formats/vtk/Grid.h"', "include each other"),
        ("exchange/model/Blocks.h", '#include "formats/vtk/Grid.h"', "include each other"),
        ("platform/database/src/Position.cpp", '#include "storage/Engine.h"', "behind the seam"),
        ("platform/database/src/storage/Store.h", '#include "Extent.h"', "behind the seam"),
        ("platform/database/src/Position.cpp", '#include <sqlite3.h>', "only the storage engine"),
        ("tools/model/main.cpp", '#include "sqlite3.h"', "only the storage engine"),
    ]
    with tempfile.TemporaryDirectory() as directory:
        root = pathlib.Path(directory)
        for path, text in house.items():
            (root / path).parent.mkdir(parents=True, exist_ok=True)
            (root / path).write_text(text, encoding="utf-8")
        assert read(root) == house
        assert not list(faults(read(root))), list(faults(read(root)))
        for path, line, expected in planted:
            (root / path).write_text(house[path] + line + "\n", encoding="utf-8")
            found = list(faults(read(root)))
            assert len(found) == 1 and expected in found[0] and path in found[0], (line, found)
            (root / path).write_text(house[path], encoding="utf-8")


def main(arguments):
    if arguments == ["--self-check"]:
        self_check()
        return 0
    files = read(pathlib.Path(arguments[-1]))
    if arguments[0] == "--graph":
        print_graph(files)
        return 0
    missing = [directory for directory in PUBLIC if not any(lies_in(path, directory) for path in files)]
    found = [f"no file in {directory}" for directory in missing]
    found += [f"no file {path}" for path in SEAM if path not in files]
    found += list(faults(files))
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
