#!/usr/bin/python3
"""scripts/check-release accepts a small release, and reports each kind of error in one."""

import hashlib
import io
import json
import tarfile
import unittest

from command import SCRIPTS, CommandTest

# A project whose program is a copy of its CMakeLists.txt.
CMAKE_LISTS = """cmake_minimum_required(VERSION 3.22)
set(LANFAB_VERSION 1.2.3)
project(lanfab LANGUAGES NONE)
file(WRITE ${CMAKE_BINARY_DIR}/documentation/page "")
add_custom_target(cmd_lanfab COMMAND cp ${CMAKE_SOURCE_DIR}/CMakeLists.txt cmd_lanfab)
"""
# A stub of the test of the same name: fails unless its two arguments exist.
VERSION_TEST = '#!/bin/sh\ntest -e "$1/page" && test -s "$2" || { echo "not built"; exit 1; }\n'
ARCHIVE = "lanfab-1.2.3.tar.xz"
PACKAGE = "lanfab_1.2.3_amd64.deb"


def described_file(identifier, name):
    return {"SPDXID": identifier, "name": "lanfab", "packageFileName": name,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseDeclared": "LicenseRef-lanfab",
            "checksums": [{"algorithm": "SHA256", "checksumValue": ""}]}


def relationship(one, kind, other):
    return {"spdxElementId": f"SPDXRef-{one}", "relationshipType": kind,
            "relatedSpdxElement": f"SPDXRef-{other}"}


def small_document():
    """Returns an SPDX document without checksums."""
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": "lanfab-1.2.3", "documentNamespace": "urn:uuid:5b2c8a3e-0a1f-5d6b-8f3e-1c2d3e4f5a6b",
        "creationInfo": {"created": "2026-11-23T12:00:00Z", "creators": ["Tool: this test"]},
        "packages": [
            described_file("SPDXRef-source", ARCHIVE), described_file("SPDXRef-package", PACKAGE),
            {"SPDXID": "SPDXRef-libc6", "name": "libc6", "versionInfo": "2.36-9",
             "downloadLocation": "NOASSERTION", "filesAnalyzed": False,
             "externalRefs": [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                               "referenceLocator": "pkg:deb/debian/libc6@2.36-9?arch=amd64"}]}],
        "relationships": [relationship("DOCUMENT", "DESCRIBES", "source"),
                          relationship("package", "GENERATED_FROM", "source"),
                          relationship("package", "DYNAMIC_LINK", "libc6")],
        "hasExtractedLicensingInfos": [{"licenseId": "LicenseRef-lanfab", "extractedText": "None."}],
    }


class CheckRelease(CommandTest):
    def setUp(self):
        super().setUp()
        self.release = self.directory / "release"
        self.release.mkdir()
        self.document = small_document()
        self.files = {"lanfab-1.2.3/CMakeLists.txt": CMAKE_LISTS,
                      "lanfab-1.2.3/tests/docs/version_test.py": VERSION_TEST}

    def write_archive(self):
        with tarfile.open(self.release / ARCHIVE, "w:xz") as archive:
            for path, text in self.files.items():
                member = tarfile.TarInfo(path)
                member.size, member.mode = len(text), 0o755
                archive.addfile(member, io.BytesIO(text.encode()))

    def checksum(self, name):
        return hashlib.sha256((self.release / name).read_bytes()).hexdigest()

    def write_release(self):
        """Writes the files of the release, with correct checksums."""
        self.write_archive()
        (self.release / PACKAGE).write_text("package")
        for element in self.document["packages"]:
            for entry in element.get("checksums", ()):
                entry["checksumValue"] = entry["checksumValue"] or self.checksum(element["packageFileName"])
        (self.release / "lanfab-1.2.3.spdx.json").write_text(json.dumps(self.document))
        self.write_checksums()

    def write_checksums(self):
        names = sorted(file.name for file in self.release.iterdir())
        (self.release / "SHA256SUMS").write_text(
            "".join(f"{self.checksum(name)}  {name}\n" for name in names if name != "SHA256SUMS"))

    def check(self, status, error=""):
        environment = {"TMPDIR": str(self.directory)}
        self.expect(self.run_command(SCRIPTS / "check-release", self.release, **environment), status, error)

    def check_error(self, error):
        self.write_release()
        self.check(1, error)

    def test_accepts_a_release(self):
        self.write_release()
        self.check(0)

    def test_a_file_that_is_damaged(self):
        self.write_release()
        (self.release / PACKAGE).write_text("another package")
        self.check(1, f"SHA256SUMS does not match {PACKAGE}\n")

    def test_a_file_that_is_not_listed(self):
        self.write_release()
        (self.release / "notes").write_text("")
        self.check(1, "SHA256SUMS does not match notes\n")

    def test_a_file_that_is_missing(self):
        self.write_release()
        (self.release / PACKAGE).unlink()
        self.check(1, f"SHA256SUMS does not match {PACKAGE}\n")

    def test_a_malformed_line_in_the_checksums(self):
        self.write_release()
        with open(self.release / "SHA256SUMS", "a", encoding="ascii") as file:
            file.write("nonsense\n")
        self.check(1, "SHA256SUMS does not match ")

    def test_contents_that_are_not_json(self):
        self.write_release()
        (self.release / "lanfab-1.2.3.spdx.json").write_text("{")
        self.write_checksums()
        self.check(1, "Expecting property name")

    def test_contents_without_a_required_field(self):
        for path in (["creationInfo"], ["dataLicense"], ["documentNamespace"], ["creationInfo", "created"],
                     ["packages", 0, "downloadLocation"], ["packages", 0, "SPDXID"], ["packages", 2, "name"],
                     ["relationships", 0, "relationshipType"],
                     ["hasExtractedLicensingInfos", 0, "extractedText"]):
            with self.subTest(path):
                self.document = small_document()
                owner = self.document
                for step in path[:-1]:
                    owner = owner[step]
                del owner[path[-1]]
                self.check_error(f"'{path[-1]}' is a required property")

    def test_contents_with_a_wrong_field(self):
        for path, value in ((["spdxVersion"], "SPDX-2.2"), (["documentNamespace"], "lanfab"),
                            (["creationInfo", "created"], "2026-11-23"),
                            (["creationInfo", "creators"], ["somebody"]),
                            (["packages", 2, "SPDXID"], "libc6"), (["packages", 2, "filesAnalyzed"], True),
                            (["packages", 0, "checksums", 0, "checksumValue"], "ABC"),
                            (["packages", 2, "externalRefs", 0, "referenceLocator"], "deb/libc6"),
                            (["relationships", 0, "relationshipType"], "USES")):
            with self.subTest(path):
                self.document = small_document()
                owner = self.document
                for step in path[:-1]:
                    owner = owner[step]
                owner[path[-1]] = value
                location = "".join(f"[{step!r}]" for step in path)
                self.check_error(f"not a valid SPDX document: {location}")

    def test_contents_with_an_element_without_a_relationship(self):
        del self.document["relationships"][2]
        self.check_error("undefined or without a relationship: SPDXRef-libc6\n")

    def test_contents_with_a_relationship_to_an_undefined_element(self):
        self.document["relationships"].append(relationship("package", "DYNAMIC_LINK", "libm"))
        self.check_error("undefined or without a relationship: SPDXRef-libm\n")

    def test_contents_with_an_identifier_twice(self):
        self.document["packages"].append(self.document["packages"][2])
        self.check_error("the SPDX document has duplicate identifiers\n")

    def test_contents_with_a_license_without_a_text(self):
        self.document["hasExtractedLicensingInfos"] = []
        self.check_error("no license text for LicenseRef-lanfab\n")

    def test_contents_of_other_files(self):
        self.document["packages"][1]["checksums"][0]["checksumValue"] = "0" * 64
        self.check_error(f"{PACKAGE}: not in the SPDX document, or its checksum differs\n")

    def test_contents_without_a_library(self):
        self.document["relationships"][2]["relationshipType"] = "STATIC_LINK"
        self.check_error(f"{PACKAGE}: no linked library in the SPDX document\n")

    def test_an_archive_with_a_file_elsewhere(self):
        self.files["lanfab/notes"] = ""
        self.check_error(f"{ARCHIVE}: files outside of lanfab-1.2.3/: lanfab/notes\n")

    def test_an_archive_of_another_version(self):
        self.files["lanfab-1.2.3/CMakeLists.txt"] = CMAKE_LISTS.replace("1.2.3", "1.2.3~dev")
        self.check_error("CMakeLists.txt does not set LANFAB_VERSION to 1.2.3\n")

    def test_an_archive_that_needs_git(self):
        self.files["lanfab-1.2.3/CMakeLists.txt"] = CMAKE_LISTS + "execute_process(COMMAND git describe)\n"
        self.check_error("the build of the source archive runs git\n")

    def test_an_archive_that_does_not_build(self):
        self.files["lanfab-1.2.3/CMakeLists.txt"] = CMAKE_LISTS.replace("COMMAND cp", "COMMAND false")
        self.check_error("--target cmd_lanfab")

    def test_an_archive_with_two_versions(self):
        self.files["lanfab-1.2.3/CMakeLists.txt"] = CMAKE_LISTS.replace("/page", "/other")
        self.check_error("not built\n")


if __name__ == "__main__":
    unittest.main()
