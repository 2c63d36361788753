#!/usr/bin/python3
"""The builder's flags take precedence over the project's; otherwise the build is hardened.

Usage: flags_test.py [--exhaustive]      (--exhaustive: also build the program and check the binary)
"""

import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = "--exhaustive" in sys.argv[1:]


class Flags:
    """The compiler flags for a source file of cmd_lanfab, and the linker flags for cmd_lanfab."""

    def __init__(self, directory):
        with open(os.path.join(directory, "compile_commands.json"), encoding="utf-8") as file:
            commands = json.load(file)
        (command,) = (each["command"] for each in commands if each["file"].endswith("/driver/apply.cpp"))
        self.compiler = shlex.split(command)
        with open(os.path.join(directory, "build.ninja"), encoding="utf-8") as file:
            rules = file.read()
        link = re.search(r"^build cmd_lanfab: .*?^  LINK_FLAGS = (.*?)$", rules, re.DOTALL | re.MULTILINE)[1]
        self.linker = shlex.split(link)

    def last(self, pattern):
        """Returns the effective flag: the last one of those that match."""
        return ([flag for flag in self.compiler if re.fullmatch(pattern, flag)] or [None])[-1]

    @property
    def optimization(self):
        return self.last("-O.*")

    @property
    def stack_protector(self):
        return self.last("-f(no-)?stack-protector.*")

    @property
    def fortify_definitions(self):
        return [flag for flag in self.compiler if "-D_FORTIFY_SOURCE" in flag]

    @property
    def position_independence(self):
        return self.last("-f(no-)?(PIC|PIE|pic|pie)")

    @property
    def link_time_optimization(self):
        return self.last("-f(no-)?lto.*")

    @property
    def binding(self):
        """Returns the effective setting of symbol binding: "now", "lazy" or None."""
        words = [word for flag in self.linker for word in re.findall(r"-z,(now|lazy)", flag)]
        return words[-1] if words else None


class ForeignFlags(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name

    def configure(self, *settings, **environment):
        """Configures a build like a packager, with CMake settings and environment variables."""
        # Without the compiler flags and the CMake settings of the user who runs this test.
        inherited = {
            name: value
            for name, value in os.environ.items()
            if name not in ("CXXFLAGS", "CPPFLAGS", "LDFLAGS") and not name.startswith("CMAKE_")
        }
        command = ["cmake", "-S", SOURCE, "-B", self.directory, "-G", "Ninja", "-DLANFAB_WERROR=ON"]
        command += ["-DLANFAB_CLI=OFF", "-DBUILD_TESTING=OFF", *settings]
        done = subprocess.run(
            command, check=False, env={**inherited, **environment}, capture_output=True, text=True
        )
        self.assertEqual(done.returncode, 0, done.stderr)
        return Flags(self.directory)

    def build(self, hardened):
        """With --exhaustive, builds and runs cmd_lanfab; checks the hardening if `hardened` is set."""
        if not BUILD:
            return
        done = subprocess.run(
            ["cmake", "--build", self.directory], check=False, capture_output=True, text=True
        )
        self.assertEqual(done.returncode, 0, done.stdout)
        program = os.path.join(self.directory, "cmd_lanfab")
        # --version is not an action, so this is an error, but it prints the version.
        done = subprocess.run([program, "--version"], stderr=subprocess.PIPE, text=True, check=False)
        self.assertRegex(done.stderr, r"^cmd_lanfab [0-9.]+")
        if hardened:
            subprocess.run([os.path.join(SOURCE, "scripts/check-binary"), "hardening", program], check=True)

    def test_release_without_settings(self):
        flags = self.configure("-DCMAKE_BUILD_TYPE=Release")
        self.assertEqual(flags.optimization, "-Os")
        self.assertEqual(flags.stack_protector, "-fstack-protector-strong")
        self.assertEqual(flags.fortify_definitions, ["-D_FORTIFY_SOURCE=2"])
        self.assertEqual(flags.position_independence, "-fPIC")
        self.assertEqual(flags.link_time_optimization, "-flto=auto")
        self.assertEqual(flags.binding, "now")

    def test_debian(self):
        flags = self.configure(
            "-DCMAKE_BUILD_TYPE=None",
            "-DCMAKE_INSTALL_PREFIX=/usr",
            CXXFLAGS="-g -O2 -fstack-protector-strong -Wformat -Werror=format-security "
            "-Wdate-time -D_FORTIFY_SOURCE=3",
            LDFLAGS="-Wl,-z,relro",
        )
        self.assertEqual(flags.optimization, "-O2")
        self.assertEqual(flags.fortify_definitions, ["-D_FORTIFY_SOURCE=3"])
        self.assertEqual(flags.position_independence, "-fPIC")
        self.assertEqual(flags.binding, "now")
        self.build(hardened=True)

    def test_fedora(self):
        flags = self.configure(
            "-DCMAKE_BUILD_TYPE=RelWithDebInfo",
            "-DCMAKE_CXX_FLAGS_RELWITHDEBINFO=-DNDEBUG",
            CXXFLAGS="-O2 -flto=auto -ffat-lto-objects -fexceptions -g -pipe -Wall "
            "-Wp,-U_FORTIFY_SOURCE,-D_FORTIFY_SOURCE=3 -Wp,-D_GLIBCXX_ASSERTIONS -fstack-protector-strong",
            LDFLAGS="-Wl,-z,relro -Wl,--as-needed -Wl,-z,now",
        )
        self.assertEqual(flags.optimization, "-O2")
        self.assertEqual(flags.fortify_definitions, ["-Wp,-U_FORTIFY_SOURCE,-D_FORTIFY_SOURCE=3"])
        self.assertEqual(flags.link_time_optimization, "-flto=auto")
        self.build(hardened=True)

    def test_toolchain_file(self):
        toolchain = os.path.join(self.directory, "toolchain.cmake")
        with open(toolchain, "w", encoding="utf-8") as file:
            file.write(
                'set(CMAKE_CXX_FLAGS "-O2 -pipe -g -D_FORTIFY_SOURCE=2" CACHE STRING "")\n'
                'set(CMAKE_CXX_FLAGS_RELEASE "-DNDEBUG" CACHE STRING "")\n'
            )
        flags = self.configure("-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_TOOLCHAIN_FILE={toolchain}")
        self.assertEqual(flags.optimization, "-O2")
        self.assertEqual(flags.fortify_definitions, ["-D_FORTIFY_SOURCE=2"])
        self.assertEqual(flags.stack_protector, "-fstack-protector-strong")
        self.build(hardened=True)

    def test_flags_of_a_release(self):
        flags = self.configure(
            "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_CXX_FLAGS_RELEASE=-O3 -DNDEBUG",
            "-DCMAKE_INTERPROCEDURAL_OPTIMIZATION=OFF",
        )
        self.assertEqual(flags.optimization, "-O3")
        self.assertIsNone(flags.link_time_optimization)
        self.assertEqual(flags.fortify_definitions, ["-D_FORTIFY_SOURCE=2"])
        self.build(hardened=True)

    def test_everything_switched_off(self):
        flags = self.configure(
            "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_POSITION_INDEPENDENT_CODE=OFF",
            CXXFLAGS="-fno-stack-protector -U_FORTIFY_SOURCE -fno-lto -Wno-shadow",
            LDFLAGS="-Wl,-z,lazy",
        )
        self.assertEqual(flags.stack_protector, "-fno-stack-protector")
        self.assertIsNone(flags.position_independence)
        self.assertEqual(flags.link_time_optimization, "-fno-lto")
        self.assertEqual(flags.binding, "lazy")
        self.assertGreater(flags.compiler.index("-Wno-shadow"), flags.compiler.index("-Wshadow"))
        self.assertGreater(
            flags.compiler.index("-U_FORTIFY_SOURCE"), flags.compiler.index("-D_FORTIFY_SOURCE=2")
        )
        self.build(hardened=False)

    def test_without_hardening(self):
        flags = self.configure("-DCMAKE_BUILD_TYPE=Release", "-DLANFAB_HARDENING=OFF")
        self.assertIsNone(flags.stack_protector)
        self.assertEqual(flags.fortify_definitions, [])
        self.assertIsNone(flags.binding)

    def test_debug_information(self):
        flags = self.configure("-DCMAKE_BUILD_TYPE=RelWithDebInfo")
        self.assertEqual(flags.optimization, "-O2")
        self.assertEqual(flags.stack_protector, "-fstack-protector-strong")
        self.assertEqual(flags.fortify_definitions, ["-D_FORTIFY_SOURCE=2"])
        self.assertEqual(flags.binding, "now")

    def test_no_build_type(self):
        """Without optimization, calls cannot be fortified; everything else is hardened."""
        flags = self.configure()
        self.assertIsNone(flags.optimization)
        self.assertEqual(flags.stack_protector, "-fstack-protector-strong")
        self.assertEqual(flags.fortify_definitions, [])
        self.assertEqual(flags.position_independence, "-fPIC")
        self.assertEqual(flags.binding, "now")

    def test_flags_changed_in_a_build_directory(self):
        self.configure("-DCMAKE_BUILD_TYPE=Release")
        flags = self.configure("-DCMAKE_CXX_FLAGS=-D_FORTIFY_SOURCE=3")
        self.assertEqual(flags.fortify_definitions, ["-D_FORTIFY_SOURCE=3"])


if __name__ == "__main__":
    unittest.main(argv=[argument for argument in sys.argv if argument != "--exhaustive"])
