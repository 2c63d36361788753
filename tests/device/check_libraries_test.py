#!/usr/bin/env python3
"""Tests `scripts/check-binary libraries` on libraries that export the symbols that the program imports.

Usage: check_libraries_test.py CHECK_BINARY PLATFORM_DIRECTORY OBJECT...

The objects are the program's, before it is linked with the libraries in PLATFORM_DIRECTORY.
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

CHECK_BINARY, PLATFORM_DIRECTORY, *OBJECTS = sys.argv[1:]
LIBRARIES = ("libcmd", "libsysdb", "libvantor")
HERE = os.path.dirname(os.path.abspath(__file__))
# The adapter of this directory, and the functions that it calls.
ADAPTER = (
    *("--adapter", f"{HERE}/adapter.cpp"),
    *("--adapter", f"{HERE}/../../platform/host/libcmd/accessors.cpp"),
)
C_FUNCTIONS = {
    "libcmd": {
        "cmd_get_value_json",
        "get_cmd_command_action_index",
        "return_input_string_as_all_uppercase",
    },
    "libsysdb": {"sysdb_read_int", "sysdb_write_str", "sysdb_namedb_write_str"},
    "libvantor": {
        "qelsys",
        "file_exists",
        "delete_file",
        "read_var_file",
        "execute_systemctl_start",
        "execute_systemctl_restart",
        "is_service_active",
        "ip_link_set_interface_down",
        "get_if_hw_addr",
        "get_if_hw_addr_formatted",
        "cidr_to_netmask",
        "netmask_to_cidr",
        "get_cidr_subnet",
        "domain_ip_to_ip_str",
    },
}


def symbols(which, *files):
    """Returns the symbols that nm prints for the option `which`."""
    command = ["nm", "--extern-only", "--format=just-symbols", which, *files]
    listed = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    return {line for line in listed.stdout.splitlines() if line and not line.endswith(":")}


def imports():
    """Returns the symbols that the program imports, by library."""
    undefined = symbols("--undefined-only", *OBJECTS)
    return {
        library: undefined & symbols("--defined-only", f"{PLATFORM_DIRECTORY}/{library}.a")
        for library in LIBRARIES
    }


def make_libraries(directory, exports):
    for library, names in exports.items():
        source = "".join(f"void {name}(void) {{}}\n" for name in sorted(names))
        command = ["cc", "-shared", "-fPIC", "-x", "c", "-", "-o", f"{directory}/{library}.so"]
        subprocess.run(command, check=True, input=source, text=True)


def check(exports, *options):
    """Returns the exit status and the errors about libraries with these exports."""
    with tempfile.TemporaryDirectory() as directory:
        make_libraries(directory, exports)
        command = [CHECK_BINARY, "libraries", directory, *options]
        done = subprocess.run(command, check=False, stderr=subprocess.PIPE, text=True)
        return done.returncode, done.stderr.replace(directory + "/", "")


class CheckLibraries(unittest.TestCase):
    def setUp(self):
        self.exports = imports()

    def replace(self, library, symbol, *others):
        self.exports[library].remove(symbol)
        self.exports[library].update(others)

    def test_all_symbols_are_there(self):
        self.assertEqual(check(self.exports), (0, ""))

    def test_a_function_may_be_in_another_library(self):
        self.replace("libvantor", "_Z11file_existsPKc")
        self.exports["libcmd"].add("_Z11file_existsPKc")
        self.assertEqual(check(self.exports), (0, ""))

    def test_a_symbol_that_is_left_out_is_named(self):
        self.replace("libsysdb", "_Z14sysdb_read_intiPKcPi")
        symbol = "_Z14sysdb_read_intiPKcPi, sysdb_read_int(int, char const*, int*)"
        self.assertEqual(check(self.exports), (1, f"libsysdb.so does not export {symbol}\n"))

    def test_empty_libraries_lack_all_that_the_program_imports(self):
        status, errors = check({library: {library} for library in LIBRARIES})
        self.assertEqual(status, 1)
        named = re.findall(r"^(\w+)\.so does not export (\w+), ", errors, re.MULTILINE)
        imported = [(library, name) for library, names in self.exports.items() for name in names]
        self.assertCountEqual(named, imported)

    def test_c_linkage_is_seen(self):
        self.replace("libvantor", "_Z11file_existsPKc", "file_exists")
        error = (
            "libvantor.so does not export _Z11file_existsPKc, file_exists(char const*), "
            "only file_exists with C linkage, which packaging/adapter can call\n"
        )
        self.assertEqual(check(self.exports), (1, error))

    def test_other_parameters_are_shown(self):
        self.replace("libvantor", "_Z15netmask_to_cidrPKc", "_Z15netmask_to_cidrPc", "_Z15netmask_to_cidrv")
        status, error = check(self.exports)
        self.assertEqual(status, 1)
        name, *others = error.rstrip().split(", only ")
        missing = "_Z15netmask_to_cidrPKc, netmask_to_cidr(char const*)"
        self.assertEqual(name, f"libvantor.so does not export {missing}")
        self.assertCountEqual(others[0].split(" and "), ["netmask_to_cidr(char*)", "netmask_to_cidr()"])

    def test_an_adapter_needs_the_functions_that_it_calls(self):
        self.assertEqual(check(C_FUNCTIONS, *ADAPTER), (0, ""))

    def test_a_function_that_the_adapter_lacks_is_named(self):
        exports = {**C_FUNCTIONS, "libsysdb": {"sysdb_write_str", "sysdb_namedb_write_str"}}
        error = "no library exports sysdb_read_int, which the adapter calls\n"
        self.assertEqual(check(exports, *ADAPTER), (1, error))

    def test_what_no_adapter_defines_is_still_needed(self):
        status, errors = check(C_FUNCTIONS, *ADAPTER[:2])
        self.assertEqual(status, 1)
        self.assertIn("libcmd.so does not export _Z14config_get_intRKN4Json5ValueEPi", errors)
        self.assertNotIn("_Z11file_existsPKc", errors)

    def test_a_library_that_is_missing_is_named(self):
        del self.exports["libsysdb"]
        self.assertEqual(check(self.exports), (1, "libsysdb.so: no such file\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
