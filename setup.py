"""Builds the wheel of the Python package with CMake: the module, and the libraries beside it.

    pip install --no-build-isolation .

With ORQ_BUILD_FOLDER, the folder of a build that is there already, it only gathers the files.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (ROOT / "CMakeLists.txt").read_text()).group(1)


class CMakeBuild(build_ext):
    def build_extension(self, extension):
        built = os.environ.get("ORQ_BUILD_FOLDER")
        build = pathlib.Path(built or self.build_temp).resolve()
        staged = pathlib.Path(self.build_temp).resolve() / "wheel"
        if not built:
            jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count()))
            subprocess.run(["cmake", "--preset", "release", "-S", ROOT, "-B", build,
                            "-D", "ORQ_BUILD_TESTS=OFF", "-D", "ORQ_BUILD_BENCHMARKS=OFF",
                            "-D", f"ORQ_PYTHON={sys.executable}"], check=True, cwd=ROOT)
            subprocess.run(["cmake", "--build", build, "--parallel", jobs, "--target",
                            "orqmodel_python"], check=True)
        for component in ("runtime", "python"):
            subprocess.run(["cmake", "--install", build, "--prefix", staged, "--component",
                            component, "--strip"], check=True)
        # A wheel holds no links: of a library, the name by which it is loaded is enough.
        target = pathlib.Path(self.get_ext_fullpath(extension.name)).resolve().parent
        libraries = target / "lib"
        libraries.mkdir(parents=True, exist_ok=True)
        for library in staged.glob("lib/**/*.so.*"):
            if library.is_symlink():
                shutil.copyfile(library.resolve(), libraries / library.name)
        for module in staged.glob("lib/**/orqmodel/_core*.so"):
            shutil.copyfile(module, self.get_ext_fullpath(extension.name))


setup(version=VERSION, packages=["orqmodel"], package_dir={"orqmodel": "python/orqmodel"},
      package_data={"orqmodel": ["*.pyi", "py.typed"]},
      ext_modules=[Extension("orqmodel._core", [])], cmdclass={"build_ext": CMakeBuild})
