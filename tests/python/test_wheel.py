"""The wheel is made of the files of a build, installed into an empty folder, and used from there."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = sys.argv.pop()
PROGRAM = """
import orqmodel
with orqmodel.create("m.orq") as m, m.transaction():
    m.add_nodes([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]])
    m.add_block("plate", "SHELL4", [[0, 1, 2, 3]])
with orqmodel.open("m.orq") as m:
    print(m.nodes.coordinates[2].tolist(), m.blocks["plate"].connectivity.tolist())
print(orqmodel.__file__)
print("\\n".join({line.split()[-1] for line in open("/proc/self/maps") if "PLVORQ" in line}))
"""


class Wheel(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="orq-wheel-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def run_here(self, *arguments, **environment):
        return subprocess.run([sys.executable, *arguments], cwd=self.folder, check=True, text=True,
                              stdout=subprocess.PIPE, env={**os.environ, **environment}).stdout

    def test_is_whole(self):
        source = self.folder / "source"  # pip leaves files beside what it builds
        source.mkdir()
        for name in ("setup.py", "pyproject.toml", "README.md", "CMakeLists.txt"):
            shutil.copy(ROOT / name, source)
        shutil.copytree(ROOT / "python", source / "python")
        pip = ("-m", "pip", "--disable-pip-version-check", "--quiet")
        self.run_here(*pip, "wheel", "--no-build-isolation", "--no-deps", "--no-index",
                      "--wheel-dir", "wheels", "./source", ORQ_BUILD_FOLDER=BUILD)
        (wheel,) = (self.folder / "wheels").iterdir()
        files = zipfile.ZipFile(wheel).namelist()
        self.assertIn("orqmodel/__init__.pyi", files)
        self.assertIn("orqmodel/py.typed", files)
        self.run_here(*pip, "install", "--no-deps", "--no-index", "--target", "site", wheel)
        printed = self.run_here("-c", PROGRAM, PYTHONPATH=str(self.folder / "site")).splitlines()
        self.assertEqual(printed[0], "[1.0, 1.0, 0.0] [[0, 1, 2, 3]]")
        self.assertGreater(len(printed), 2)
        for path in printed[1:]:
            self.assertTrue(path.startswith(str(self.folder / "site/orqmodel")), path)


if __name__ == "__main__":
    unittest.main()
