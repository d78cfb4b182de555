# SPDX-License-Identifier: MIT
"""Conan 2: conan create packaging/conan, in a checkout."""

import os
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
SOURCES = ["capi", "classlib", "cmake", "connect", "dataset", "expr", "host", "object", "reference", "script"]
# Parts of the build that a library needs nothing of; no connector takes what the machine happens to have.
LEFT_OUT = ["CLI", "TESTS", "BENCH", "FUZZ", "PYTHON", "SQLITE", "POSTGRESQL", "XLSX"]


class KtScript(ConanFile):
    name = "ktscript"
    license = "MIT"
    description = "Script and expression engine for business applications"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False], "fPIC": [True, False]}
    default_options = {"shared": True, "fPIC": True}
    requires = "icu/[>=60]"

    def set_version(self):
        text = load(self, os.path.join(self.recipe_folder, "..", "..", "CMakeLists.txt"))
        self.version = re.search(r"VERSION (\d+\.\d+\.\d+)", text)[1]

    def export_sources(self):
        for folder in SOURCES:
            copy(self, f"{folder}/*", ROOT, self.export_sources_folder)
        for file in ("CMakeLists.txt", "LICENSE", "README.md", "docs/*.md"):
            copy(self, file, ROOT, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        CMakeDeps(self).generate()
        toolchain = CMakeToolchain(self)
        for part in LEFT_OUT:
            toolchain.cache_variables[f"KT_{part}"] = "OFF"
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The project's own package files say how it is used.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs.append(os.path.join("lib", "cmake", "KtScript"))
