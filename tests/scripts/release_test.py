#!/usr/bin/python3
"""scripts/release makes a release of a small project, or refuses to. Stubs replace the scripts that it calls
to build packages, list their contents and check the result."""

import shutil
import tarfile
import unittest

from command import SCRIPTS, CommandTest

# Monday, 23 November 2026, 12:00:00 UTC.
TIME = "1795435200"
# Split, so that this file does not contain a placeholder.
HOST = "lanfab." + "example"
PROJECT = {
    ".gitignore": "/build/\n",
    "CMakeLists.txt": "project(lanfab)\nset(LANFAB_VERSION 1.2.3~dev)\n",
    "CHANGELOG.md": "# Changelog\n\n## [1.2.3] - unreleased\n\n## [1.2.2] - 2026-10-01\n",
    "SECURITY.md": "# Security\n\nReport a vulnerability to security@gateways.test\n",
    "packaging/debian/changelog":
        "lanfab (1.2.3~dev) unstable; urgency=medium\n\n  * New.\n\n"
        " -- maintainers <m@gateways.test>  Sun, 22 Nov 2026 02:00:00 +0000\n\n"
        "lanfab (1.2.2) unstable; urgency=medium\n\n  * Old.\n\n"
        " -- maintainers <m@gateways.test>  Thu, 01 Oct 2026 10:00:00 +0000\n",
    "packaging/debian/copyright": "Files: *\nCopyright: 2026 somebody\nLicense: Expat\n It is granted.\n",
    "packaging/yocto/lanfab.inc": 'PV = "1.2.3~dev+git"\n',
    "packaging/buildroot/lanfab/lanfab.mk": "LANFAB_VERSION = main\n",
}
GPG = """cat >/dev/null
echo '[GNUPG:] BEGIN_SIGNING' >&2
echo '[GNUPG:] SIG_CREATED D' >&2
echo '-----BEGIN PGP SIGNATURE-----'
echo '-----END PGP SIGNATURE-----'"""
CONFIGURATION = "[user]\n\tname = Anna\n\temail = anna@gateways.test\n\tsigningKey = anna\n"


class Release(CommandTest):
    def setUp(self):
        super().setUp()
        self.tree = self.directory / "tree"
        for path, text in PROJECT.items():
            self.write(path, text)
        self.put_script("install-packages", "exit 0")
        self.put_script("build-package", "mkdir -p build/packages; cp CMakeLists.txt build/packages/one.deb")
        self.put_script("make-sbom", 'shift && for file; do basename "$file"; done')
        self.put_script("check-release", 'cd "$1" && sha256sum --quiet --strict --check SHA256SUMS')
        shutil.copy(SCRIPTS / "release", self.tree / "scripts/release")
        self.put("gpg", GPG)
        (self.directory / "gitconfig").write_text(CONFIGURATION)
        self.git("init", "--quiet", "--initial-branch=main")
        self.commit("Begin")

    def write(self, path, text):
        file = self.tree / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        return file

    def put_script(self, name, text):
        self.write(f"scripts/{name}", f"#!/bin/sh\n{text}\n").chmod(0o755)

    def environment(self, **more):
        return {"GIT_CONFIG_GLOBAL": str(self.directory / "gitconfig"), "GIT_CONFIG_NOSYSTEM": "1",
                "TMPDIR": str(self.directory), "SOURCE_DATE_EPOCH": TIME, **more}

    def git(self, *arguments):
        done = self.run_command("git", "-C", self.tree, *arguments, **self.environment())
        self.assertEqual(done.returncode, 0, done)
        return done.stdout

    def commit(self, subject):
        self.git("add", "--all")
        self.git("commit", "--quiet", f"--message={subject}")

    def change(self, path, text):
        """Writes another text to a file and commits it."""
        self.write(path, text)
        self.commit(f"Change {path}")

    def state(self):
        """Returns the state that a refused release must not change."""
        return self.git("rev-parse", "HEAD"), self.git("tag"), self.git("status", "--porcelain")

    def release(self, *arguments, **more):
        return self.run_command(self.tree / "scripts/release", *arguments, **self.environment(**more))

    def expect_refusal(self, reason):
        before = self.state()
        self.expect(self.release(), 1, f"Not released:\n  {reason}\n")
        self.assertEqual(self.state(), before)
        self.assertFalse((self.tree / "build").exists())

    def results(self, name):
        return self.tree / "build" / name

    def test_a_release(self):
        done = self.release()
        self.expect(done, 0)
        self.assertEqual(done.stdout, "build/release-1.2.3:\n  SHA256SUMS\n  lanfab-1.2.3.spdx.json\n"
                                      "  lanfab-1.2.3.tar.xz\n  one.deb\n")
        results = self.results("release-1.2.3")
        # The packages are built from the archive, and the bill of materials lists both.
        self.assertIn("LANFAB_VERSION 1.2.3)", (results / "one.deb").read_text())
        self.assertEqual((results / "lanfab-1.2.3.spdx.json").read_text(), "lanfab-1.2.3.tar.xz\none.deb\n")
        self.assertEqual(self.git("log", "-1", "--format=%s, %an, %aI").strip(),
                         "Release 1.2.3, Anna, 2026-11-23T12:00:00+00:00")
        tag = self.git("cat-file", "tag", "1.2.3")
        self.assertIn(f"object {self.git('rev-parse', 'HEAD')}", tag)
        self.assertIn("-----BEGIN PGP SIGNATURE-----", tag)
        self.assertIn((results / "SHA256SUMS").read_text(), tag)
        self.assertEqual(self.git("status", "--porcelain"), "")

    def test_what_the_release_changes(self):
        self.release()
        self.assertEqual(self.git("show", "--format=", "--unified=0", "--no-prefix").count("\n+"), 6 + 5)
        for path, line in (("CMakeLists.txt", "set(LANFAB_VERSION 1.2.3)"),
                           ("CHANGELOG.md", "## [1.2.3] - 2026-11-23"),
                           ("packaging/debian/changelog", "lanfab (1.2.3) unstable; urgency=medium"),
                           ("packaging/debian/changelog",
                            " -- maintainers <m@gateways.test>  Mon, 23 Nov 2026 12:00:00 +0000"),
                           ("packaging/yocto/lanfab.inc", 'PV = "1.2.3+git"'),
                           ("packaging/buildroot/lanfab/lanfab.mk", "LANFAB_VERSION = 1.2.3")):
            self.assertIn(line, (self.tree / path).read_text().splitlines())

    def test_refuses_what_is_not_committed(self):
        self.write("notes", "")
        self.expect_refusal("notes: not committed")

    def test_refuses_a_placeholder(self):
        for path, text, line in (
                ("SECURITY.md", f"Report a vulnerability to security@{HOST}\n", 1),
                ("packaging/buildroot/lanfab/lanfab.mk", f"LANFAB_VERSION = main\nS = git.{HOST}\n", 2)):
            with self.subTest(path):
                self.change(path, text)
                self.expect_refusal(f"{path}:{line}: {text.split()[-1]} is a placeholder")
                self.change(path, PROJECT[path])

    def test_tests_may_use_placeholders(self):
        self.change("tests/one.txt", f"https://{HOST}/\n")
        self.expect(self.release(), 0)

    def test_refuses_without_an_address_for_reports(self):
        self.change("SECURITY.md", "Keep it to yourself.\n")
        self.expect_refusal("SECURITY.md: no address for reporting a vulnerability")

    def test_refuses_without_a_license(self):
        path = "packaging/debian/copyright"
        for text, reason in ((PROJECT[path].replace("Expat", "none-granted"), "no license has been granted"),
                             ("Files: tests\nLicense: Expat\n",
                              "no license of the project's own files")):
            with self.subTest(reason):
                self.change(path, text)
                self.expect_refusal(f"{path}: {reason}")

    def test_refuses_an_entry_that_is_not_open(self):
        self.change("CHANGELOG.md", "## [1.2.2] - 2026-10-01\n")
        self.expect_refusal(r"CHANGELOG.md: no line matches ^(## \[1\.2\.3\] - )unreleased$")

    def test_a_dry_run_fails_without_an_open_entry(self):
        path = "packaging/debian/changelog"
        self.change(path, PROJECT[path].replace("3~dev", "4~dev"))
        self.expect(self.release("--dry-run"), 1, rf"{path}: no line matches \A(lanfab")

    def test_refuses_an_existing_tag(self):
        self.git("tag", "--message=old", "--no-sign", "1.2.3")
        self.expect_refusal("the tag 1.2.3 exists")

    def test_refuses_a_version_that_is_released(self):
        self.release()
        before = self.state()
        self.expect(self.release(), 1, "CMakeLists.txt: 1.2.3 is already released\n  the tag 1.2.3 exists\n")
        self.assertEqual(self.state(), before)

    def test_without_a_key_nothing_is_released(self):
        self.put("gpg", "cat >/dev/null; exit 1")
        before = self.state()
        self.expect(self.release(), 1, "failed: git -C ")
        self.assertEqual(self.state(), before)

    def test_a_release_that_fails_its_checks_is_not_published(self):
        self.put_script("check-release", "exit 1")
        self.commit("Break it")
        before = self.state()
        self.expect(self.release(), 1, "scripts/check-release")
        self.assertEqual(self.state(), before)
        self.assertFalse((self.tree / "build").exists())

    def test_a_dry_run_changes_nothing(self):
        self.change("packaging/debian/copyright", "Files: *\nLicense: none-granted\n")
        self.write("notes", "")
        (self.directory / "gitconfig").write_text("")
        self.put("gpg", "exit 1")
        before = self.state()
        self.expect(self.release("--dry-run"), 0, "A release would be refused:\n  notes: not committed\n"
                    "  packaging/debian/copyright: no license has been granted\n")
        self.assertEqual(self.state(), before)
        self.assertFalse(self.results("release-1.2.3").exists())
        packed = self.results("release-1.2.3-dry-run") / "one.deb"
        self.assertIn("LANFAB_VERSION 1.2.3)", packed.read_text())

    def test_a_dry_run_of_a_release(self):
        self.release()
        self.expect(self.release("--dry-run"), 0, "  CMakeLists.txt: 1.2.3 is already released\n")
        released, again = (self.results(name) / "lanfab-1.2.3.tar.xz"
                           for name in ("release-1.2.3", "release-1.2.3-dry-run"))
        self.assertEqual(released.read_bytes(), again.read_bytes())

    def test_a_dry_run_with_packages_that_are_built(self):
        self.write("build/packages/two.deb", "")
        self.expect(self.release("--dry-run", "--built", self.tree / "build"), 0)
        names = sorted(file.name for file in self.results("release-1.2.3-dry-run").glob("*.deb"))
        self.assertEqual(names, ["two.deb"])

    def test_a_dry_run_needs_packages(self):
        done = self.release("--dry-run", "--built", self.tree / "build")
        self.expect(done, 1, "build/packages: no packages\n")

    def test_the_archive_is_reproducible(self):
        archive = self.results("release-1.2.3-dry-run") / "lanfab-1.2.3.tar.xz"
        self.release("--dry-run")
        first = archive.read_bytes()
        command = ["sh", "-c", 'umask 077; exec "$0" --dry-run', self.tree / "scripts/release"]
        self.expect(self.run_command(*command, **self.environment(TZ="Asia/Tokyo", XZ_OPT="-9")), 0)
        self.assertEqual(archive.read_bytes(), first)
        with tarfile.open(archive) as members:
            self.assertIn("lanfab-1.2.3/CMakeLists.txt", members.getnames())


if __name__ == "__main__":
    unittest.main()
