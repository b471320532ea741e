"""Checks that constants and types in unnamed namespaces have names that are unique within a folder, so
that its sources can be compiled together.

check_names.py ROOT         fails with a line for each name that stands for two things
check_names.py --self-check checks the check against planted faults
"""

import collections
import pathlib
import re
import sys
import tempfile

FOLDERS = ["platform", "ORQSrvSimServices", "exchange", "tools", "python", "benchmarks", "tests"]
UNNAMED = re.compile(r"^namespace \{\n(.*?)^\}  // namespace$", re.DOTALL | re.MULTILINE)
# What begins a line there: an alias may stand twice when it is the same.
ALIAS = re.compile(r"^using (\w+) = (.*?);", re.DOTALL | re.MULTILINE)
TYPE = re.compile(r"^(?:struct|class|enum class|enum) (\w+)[^;]*?\{", re.MULTILINE)
CONSTANT = re.compile(r"^(?:inline |static )?(?:constexpr|const)\b[^;(={]*?\b([ks]_?\w+)(?:\[\w*\])?\s*[={]", re.MULTILINE)


def names_in(text):
    """The names of constants and types, each with what it stands for."""
    for body in UNNAMED.findall(text):
        for name, meaning in ALIAS.findall(body):
            yield name, " ".join(meaning.split())
        for pattern in (TYPE, CONSTANT):
            for name in pattern.findall(body):
                yield name, None


def repeated(root):
    """A line for each name that stands for two things in a folder."""
    folders = collections.defaultdict(lambda: collections.defaultdict(list))
    for top in FOLDERS:
        for path in sorted((root / top).rglob("*.cpp")):
            for name, meaning in names_in(path.read_text(encoding="utf-8")):
                folders[path.parent][name].append((meaning, path.name))
    for folder, names in folders.items():
        for name, places in names.items():
            files = {file for _, file in places}
            if len(files) > 1 and (len({meaning for meaning, _ in places}) > 1 or places[0][0] is None):
                yield f"{folder.relative_to(root)}: {name} stands for several things, in {', '.join(sorted(files))}"


def self_check():
    cases = [
        (["constexpr int kMost = 3;", "constexpr double kMost = 4;"], 1),
        (["constexpr int kMost = 3;", "constexpr int kLeast = 4;"], 0),
        (["struct Part {\n    int a;\n};", "class Part : public Base {\n};"], 1),
        (["using Place = Results::Place;", "using Place = Results::Place;"], 0),
        (["using Place = Results::Place;", "using Place = Grid::Place;"], 1),
        (["using Kind = int;", "struct Kind {\n};"], 1),
        (["const char* const kNames[] = {\"a\"};", "constexpr std::array<int, 2> kNames = {1, 2};"], 1),
        (["int Count(int k) {\n    constexpr int kMost = 1;\n    return kMost;\n}", "constexpr int kMost = 2;"], 0),
    ]
    for number, (bodies, wanted) in enumerate(cases):
        with tempfile.TemporaryDirectory() as scratch:
            root = pathlib.Path(scratch)
            (root / "exchange").mkdir()
            for i, body in enumerate(bodies):
                (root / "exchange" / f"{i}.cpp").write_text(f"namespace {{\n\n{body}\n\n}}  // namespace\n")
            found = list(repeated(root))
            if len(found) != wanted:
                sys.exit(f"case {number}: {wanted} wanted, found {found}")


if __name__ == "__main__":
    if sys.argv[1] == "--self-check":
        self_check()
    else:
        faults = list(repeated(pathlib.Path(sys.argv[1])))
        print("\n".join(faults))
        sys.exit(1 if faults else 0)
