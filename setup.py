"""Builds the extension pdf417._pdf417 with the repository's CMake project
(PDF417_BUILD_PYTHON) and puts it into the package; the rest of the
package's description is in pyproject.toml."""

import os
import pathlib
import shutil
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = pathlib.Path(self.build_temp).resolve() / "cmake"
        subprocess.run(["cmake", "-S", str(ROOT), "-B", str(build), "-DCMAKE_BUILD_TYPE=Release",
                        "-DPDF417_BUILD_PYTHON=ON", "-DPDF417_BUILD_TESTS=OFF", f"-DPython_EXECUTABLE={sys.executable}"],
                       check=True)
        jobs = os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", "2")
        subprocess.run(["cmake", "--build", str(build), "--target", "_pdf417", "-j", jobs], check=True)
        built = next((build / "python" / "pdf417").glob("_pdf417*.so"))
        target = pathlib.Path(self.get_ext_fullpath(ext.name))
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(built, target)
        # The PDF module the extension loads from beside itself.
        shutil.copyfile(build / "python" / "pdf417" / "pdf417read-pdf.so", target.parent / "pdf417read-pdf.so")


setup(ext_modules=[Extension("pdf417._pdf417", sources=[])], cmdclass={"build_ext": CMakeBuild})
