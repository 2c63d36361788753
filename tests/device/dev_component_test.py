#!/usr/bin/python3
"""Builds the libraries of a device with only the component "dev", and the program with these libraries.

Usage: dev_component_test.py [--exhaustive]      (--exhaustive: also build the program for the device)
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
EXHAUSTIVE = "--exhaustive" in sys.argv[1:]


def run(*command, **variables):
    done = subprocess.run(
        command,
        check=False,
        env={**os.environ, **variables},
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
    )
    if done.returncode != 0:
        raise AssertionError(f"{command}: {done.stdout}")
    return done.stdout


def files_below(root):
    return sorted(
        os.path.relpath(os.path.join(directory, file), root)
        for directory, _, files in os.walk(root)
        for file in files
    )


class DevComponent(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.directory = tempfile.mkdtemp()
        cls.addClassCleanup(shutil.rmtree, cls.directory)
        cls.prefix = os.path.join(cls.directory, "sysroot/usr")
        build = os.path.join(cls.directory, "lanfab")
        run("cmake", "-S", SOURCE, "-B", build, "-G", "Ninja", "-DLANFAB_PLATFORM=device")
        # The component can be installed before anything is built.
        run("cmake", "--install", build, "--component", "dev", "--prefix", cls.prefix)

    def build_libraries(self):
        """Builds the package of libraries, in which CMake finds the component; returns their directory."""
        libraries = os.path.join(self.directory, "libraries")
        run(
            "cmake", "-S", os.path.join(HERE, "package"), "-B", libraries, "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={self.prefix}",
        )  # fmt: skip
        run("cmake", "--build", libraries)
        return libraries

    def test_what_is_installed(self):
        self.assertEqual(
            files_below(self.prefix),
            [
                "include/lanfab/platform/libcmd.h",
                "include/lanfab/platform/libsysdb.h",
                "include/lanfab/platform/libvantor.h",
                "share/cmake/lanfab-platform/lanfab-platform-config-version.cmake",
                "share/cmake/lanfab-platform/lanfab-platform-config.cmake",
                "share/cmake/lanfab-platform/lanfab-platform-targets.cmake",
                "share/pkgconfig/lanfab-platform.pc",
            ],
        )

    def test_libraries_with_cmake(self):
        libraries = self.build_libraries()
        run(os.path.join(SOURCE, "scripts/check-binary"), "libraries", libraries)
        if EXHAUSTIVE:
            self.build_program(libraries)

    def build_program(self, libraries):
        """Builds the program for the device with the libraries, which were built with its headers."""
        build = os.path.join(self.directory, "lanfab")
        run(
            "cmake", "-S", SOURCE, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
            f"-DCMAKE_EXE_LINKER_FLAGS=-L{libraries}",
        )  # fmt: skip
        run("cmake", "--build", build)
        run(os.path.join(SOURCE, "scripts/check-binary"), "device", os.path.join(build, "cmd_lanfab"))

    def test_libraries_with_pkg_config(self):
        search = os.path.join(self.prefix, "share/pkgconfig")
        flags = run("pkg-config", "--cflags", "lanfab-platform", PKG_CONFIG_PATH=search).split()
        for library in ("libcmd", "libsysdb", "libvantor"):
            source = os.path.join(HERE, "package", f"{library}.cpp")
            output = os.path.join(self.directory, f"{library}.so")
            run("c++", "-std=c++17", "-Wall", "-Werror", "-shared", "-fPIC", *flags, source, "-o", output)
        run(os.path.join(SOURCE, "scripts/check-binary"), "libraries", self.directory)


if __name__ == "__main__":
    unittest.main(argv=[argument for argument in sys.argv if argument != "--exhaustive"])
