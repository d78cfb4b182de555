# SPDX-License-Identifier: MIT
"""pip install . : builds the extension with CMake, with the libraries inside of it.

CMAKE_ARGS in the environment is passed on to CMake.
"""

import os
import pathlib
import re
import shlex
import subprocess
import sys

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext

ROOT = pathlib.Path(__file__).resolve().parent.parent
VERSION = re.search(r"VERSION (\d+\.\d+\.\d+)", (ROOT / "CMakeLists.txt").read_text())[1]


class CMakeBuild(build_ext):
    def build_extension(self, ext):
        build = pathlib.Path(self.build_temp).resolve()
        options = {
            "CMAKE_BUILD_TYPE": "Release", "BUILD_SHARED_LIBS": "OFF",
            "CMAKE_POSITION_INDEPENDENT_CODE": "ON", "KT_PYTHON": "ON", "KT_CLI": "OFF",
            "KT_TESTS": "OFF", "KT_BENCH": "OFF", "KT_FUZZ": "OFF", "KT_UNITY": "ON",
            "Python_EXECUTABLE": sys.executable,
        }
        try:
            import pybind11
            options["pybind11_DIR"] = pybind11.get_cmake_dir()
        except ImportError:  # where the system has it
            pass
        subprocess.run(["cmake", "-S", ROOT, "-B", build]
                       + [f"-D{name}={value}" for name, value in options.items()]
                       + shlex.split(os.environ.get("CMAKE_ARGS", "")), check=True)
        subprocess.run(["cmake", "--build", build, "--target", "ktscript_core", "--parallel",
                        os.environ.get("CMAKE_BUILD_PARALLEL_LEVEL", str(os.cpu_count()))],
                       check=True)
        target = pathlib.Path(self.get_ext_fullpath(ext.name)).resolve().parent.parent
        subprocess.run(["cmake", "--install", build, "--component", "python", "--prefix", target],
                       check=True)


setup(version=VERSION, ext_modules=[Extension("ktscript._core", sources=[])],
      cmdclass={"build_ext": CMakeBuild})
