#!/usr/bin/python3
"""scripts/make-sbom lists the contents of small packages; stubs fake the packages of the machine."""

import hashlib
import json
import subprocess
import unittest

from command import SCRIPTS, CommandTest

# The output of dpkg-query: name, architecture, version, and source package with its version.
MACHINE = """libc6 amd64 2.36-9+deb12u14 glibc 2.36-9+deb12u14
libc6 i386 2.35-1 glibc 2.35-1
libc6-dev amd64 2.36-9+deb12u14 glibc 2.36-9+deb12u14
libjsoncpp25 amd64 1.9.5-4 libjsoncpp 1.9.5-4
libcli11-dev all 2.1.2+ds-1 cli11 2.1.2+ds-1
"""
SYSROOT = """libc6 armhf 2.36-9 glibc 2.36-9
libjsoncpp25 armhf 1.9.5-4+b1 libjsoncpp 1.9.5-4
libcli11-dev all 2.1.2+ds-1 cli11 2.1.2+ds-1
"""
DPKG_QUERY = """case "$*" in
  *--search*)
    shift
    for file; do
      case $file in
        /usr/include/CLI/*) echo "libcli11-dev: $file" ;;
        /usr/include/stdio.h) echo "libc6-dev:amd64: $file" ;;
        /usr/include/gtest/*) echo "libgtest-dev:amd64: $file" ;;
        *) echo "dpkg-query: no path found matching pattern $file" >&2; missing=1 ;;
      esac
    done
    exit ${missing-0} ;;
  *Depends*libc6-dev) echo 'libc6 (= 2.36-9+deb12u14), linux-libc-dev' ;;
  *Depends*) echo ;;
  *) cat "$MACHINE" ;;
esac"""
NINJA = r"""printf '%s\n' 'CMakeFiles/generator.dir/src/a.cpp.o: #deps 2, deps mtime 1 (VALID)' \
  '    ../../src/a.cpp' '    /usr/lib/../include/stdio.h' '' \
  'cli/CMakeFiles/lanfab.dir/b.cpp.o: #deps 2, deps mtime 1 (VALID)' \
  '    /usr/include/CLI/App.hpp' '    /home/anna/own.h' '' \
  'tests/unit/CMakeFiles/c.cpp.o: #deps 1, deps mtime 1 (VALID)' '    /usr/include/gtest/gtest.h'"""


class MakeSbom(CommandTest):
    def setUp(self):
        super().setUp()
        self.put("dpkg-query", DPKG_QUERY)
        self.put("ninja", NINJA)
        (self.directory / "machine").write_text(MACHINE)
        self.build = self.directory / "build"
        (self.build / "arm-sysroot/DEBIAN").mkdir(parents=True)
        (self.build / "arm-sysroot/DEBIAN/packages").write_text(SYSROOT)
        self.archive = self.directory / "lanfab-1.2.3.tar.xz"
        self.archive.write_text("archive")

    def package(self, name, architecture, depends):
        """Makes a Debian package; returns its path."""
        files = self.directory / "files"
        (files / "DEBIAN").mkdir(parents=True, exist_ok=True)
        (files / "DEBIAN/control").write_text(
            f"Package: {name}\nVersion: 1.2.3\nArchitecture: {architecture}\nDepends: {depends}\n"
            "Maintainer: somebody <a@b.test>\nDescription: a package\n")
        path = self.directory / f"{name}_1.2.3_{architecture}.deb"
        subprocess.run(["dpkg-deb", "--root-owner-group", "--build", files, path], check=True,
                       stdout=subprocess.DEVNULL)
        return path

    def both(self, architecture):
        return [self.package("lanfab", architecture, "libc6 (>= 2.34), libjsoncpp25, dnsmasq | other, udev"),
                self.package("lanfab-tools", architecture, "libc6 (>= 2.34), lanfab (= 1.2.3)")]

    def run_make_sbom(self, *packages):
        return self.run_command(SCRIPTS / "make-sbom", self.build, self.archive, *packages,
                                MACHINE=str(self.directory / "machine"))

    def document(self, *packages):
        done = self.run_make_sbom(*packages)
        self.expect(done, 0)
        return json.loads(done.stdout)

    def elements(self, *packages):
        return {element["SPDXID"]: element for element in self.document(*packages)["packages"]}

    def relations(self, *packages):
        return {(relation["spdxElementId"].removeprefix("SPDXRef-"), relation["relationshipType"],
                 relation["relatedSpdxElement"].removeprefix("SPDXRef-"))
                for relation in self.document(*packages)["relationships"]}

    def test_what_the_packages_consist_of(self):
        program, tools = "lanfab-1.2.3-amd64.deb", "lanfab-tools-1.2.3-amd64.deb"
        self.assertEqual(self.relations(*self.both("amd64")), {
            ("DOCUMENT", "DESCRIBES", "lanfab-1.2.3.tar.xz"),
            ("DOCUMENT", "DESCRIBES", program),
            ("DOCUMENT", "DESCRIBES", tools),
            (program, "GENERATED_FROM", "lanfab-1.2.3.tar.xz"),
            (tools, "GENERATED_FROM", "lanfab-1.2.3.tar.xz"),
            (program, "DYNAMIC_LINK", "libc6-amd64"),
            (program, "DYNAMIC_LINK", "libjsoncpp25-amd64"),
            ("dnsmasq", "RUNTIME_DEPENDENCY_OF", program),
            ("udev", "RUNTIME_DEPENDENCY_OF", program),
            (tools, "DYNAMIC_LINK", "libc6-amd64"),
            # The headers of libcli11-dev are compiled in; those of libc6-dev belong to a linked library.
            (tools, "STATIC_LINK", "libcli11-dev-all"),
            (program, "RUNTIME_DEPENDENCY_OF", tools),
        })

    def test_a_library_has_the_version_that_it_was_linked_in(self):
        library = self.elements(*self.both("amd64"))["SPDXRef-libc6-amd64"]
        self.assertEqual(library["versionInfo"], "2.36-9+deb12u14")
        self.assertEqual(library["sourceInfo"], "built from the source package glibc 2.36-9+deb12u14")
        self.assertRegex(library["externalRefs"][0]["referenceLocator"],
                         r"^pkg:deb/[a-z]+/libc6@2\.36-9%2Bdeb12u14\?arch=amd64&distro=[a-z]+-\S+$")

    def test_libraries_of_a_cross_build_are_those_of_the_sysroot(self):
        elements = self.elements(*self.both("amd64"), *self.both("armhf"))
        self.assertEqual(elements["SPDXRef-libjsoncpp25-armhf"]["versionInfo"], "1.9.5-4+b1")
        self.assertEqual(elements["SPDXRef-libjsoncpp25-amd64"]["versionInfo"], "1.9.5-4")

    def test_a_tool_may_have_any_version(self):
        tool = self.elements(*self.both("amd64"))["SPDXRef-dnsmasq"]
        self.assertNotIn("versionInfo", tool)
        self.assertRegex(tool["externalRefs"][0]["referenceLocator"], r"^pkg:deb/[a-z]+/dnsmasq\?distro=")

    def test_a_package_has_its_checksum(self):
        packages = self.both("amd64")
        element = self.elements(*packages)["SPDXRef-lanfab-1.2.3-amd64.deb"]
        self.assertEqual(element["packageFileName"], "lanfab_1.2.3_amd64.deb")
        self.assertEqual(element["checksums"], [
            {"algorithm": "SHA256", "checksumValue": hashlib.sha256(packages[0].read_bytes()).hexdigest()}])

    def test_the_document_is_that_of_its_packages(self):
        packages = self.both("amd64")
        one, same = self.document(*packages), self.document(*packages)
        self.assertEqual(one, same)
        other = self.document(packages[0])
        self.assertNotEqual(one["documentNamespace"], other["documentNamespace"])
        self.assertEqual(one["name"], "lanfab-1.2.3")
        self.assertIn("\nLicense: ", one["hasExtractedLicensingInfos"][0]["extractedText"])

    def test_a_library_without_a_version_is_an_error(self):
        done = self.run_make_sbom(self.package("lanfab", "amd64", "libc6, libunheard1"))
        self.expect(done, 1, "libunheard1: not installed, version unknown\n")
        self.assertEqual(done.stdout, "")


if __name__ == "__main__":
    unittest.main()
