#!/usr/bin/env python3
"""Tests shortened lists, titles, tables, output files and errors of `lanfab graph`.

The program is the first argument.
"""

import contextlib
import datetime
import json
import os
import pathlib
import re
import stat
import subprocess
import sys
import tempfile
import unittest

from lib.checkout import EXAMPLES, TESTS
from lib.comments import takes_comments
from lib.limits import processor_limit
from lib.tools import with_first, with_none

LANFAB = os.path.abspath(sys.argv.pop(1))
# Runs a command as root without the capabilities to write all files.
WITHOUT_PRIVILEGES = ("setpriv", "--bounding-set=-dac_override,-dac_read_search")
NO_DOT = "lanfab: Graphviz's dot, which draws the diagram, is not installed (package graphviz)\n"


def network(base, **dhcp):
    """Returns a "network" object with a DHCP server; `base` is the first three numbers of its addresses."""
    return {"protocol": "static", "ipv4": f"{base}.1", "netmask": 24,
            "dhcp": {"enable": True, "start": f"{base}.200", "end": f"{base}.250", **dhcp}}


def site(vlans=(), leases=()):
    """Returns the configuration of a port with VLANs of these IDs and static leases of these addresses."""
    own = network("192.168.1", mac_binding={"enable": True, "devices": [
        {"enable": True, "mac": f"02:00:5e:00:53:{number:02x}", "ipv4": address}
        for number, address in enumerate(leases)]})
    own["mode"] = "router"
    own["advanced"] = {"vlan": {"enable": True, "networks": [
        {"enable": True, "vid": vid, "network": network(f"10.0.{vid}")} for vid in vlans]}}
    return {"wired": {"eth0": {"enable": True, "network": own}}}


class Graph(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.target = self.directory / "picture"
        self.lay(site())

    def lay(self, configuration):
        (self.directory / "network.json").write_text(json.dumps(configuration), encoding="utf-8")

    def run_lanfab(self, *arguments, before=(), locale="C", **options):
        environment = {**os.environ, "LC_ALL": locale, "NO_COLOR": "", **options.pop("environment", {})}
        return subprocess.run([*before, LANFAB, "graph", *arguments], cwd=self.directory, env=environment,
                              text=True, check=False,
                              **{"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, **options})

    def draw(self, *arguments, **options):
        done = self.run_lanfab("network.json", *arguments, **options)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return done.stdout

    def assert_trouble(self, done, message):
        self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", message))

    def put_dot(self, script):
        """Creates a stub of dot from a shell script; returns a command prefix that puts it first in PATH."""
        tools = self.directory / "tools"
        tools.mkdir(exist_ok=True)
        (tools / "dot").write_text(f"#!/bin/sh\n{script}\n")
        (tools / "dot").chmod(0o755)
        return with_first(tools)

    def assert_nothing_left(self):
        self.assertEqual(sorted(path.name for path in self.directory.glob("picture*")), [])


class LongLists(Graph):
    def test_what_a_comment_allows_is_not_marked(self):
        text = '{"dns": {"source": "ISP"} %s}'
        comments = {"": True, "// lanfab: allow unknown-word\n": False}
        if not takes_comments(LANFAB):
            comments = {"": True}
        for comment, is_marked in comments.items():
            (self.directory / "network.json").write_text(text % comment, encoding="utf-8")
            self.assertEqual("1 error" in self.draw(), is_marked)

    def test_eight_stay(self):
        self.lay(site(vlans=range(1, 9), leases=[f"192.168.1.{host}" for host in range(10, 18)]))
        picture = self.draw()
        self.assertIn("- eth0.8  VLAN", picture)
        self.assertIn("- 192.168.1.17  02:00:5e:00:53:07\n", picture)
        self.assertNotIn("not shown", picture)

    def test_four_of_many_stay(self):
        self.lay(site(vlans=range(1, 31), leases=[f"192.168.1.{host}" for host in range(10, 110)]))
        for picture in self.draw(), self.draw("--format", "dot"):
            self.assertIn("and 96 more, not shown", picture)
            self.assertIn("and 26 more, not shown", picture)
            self.assertIn("192.168.1.13", picture)
            self.assertNotIn("192.168.1.14", picture)
            self.assertIn("eth0.4", picture)
            self.assertNotIn("eth0.5", picture)
        self.assertLess(len(self.draw().splitlines()), 24)

    def test_four_with_findings_stay(self):
        leases = [f"192.168.1.{host}" for host in range(10, 20)] + ["192.168.1.10"] * 6
        self.lay(site(leases=leases))
        picture = self.draw()
        self.assertEqual(picture.count("[lease-address-twice]"), 4)
        self.assertIn("- and 8 more, not shown, 2 of them with findings\n", picture)
        self.assertIn("\n6 errors and 0 warnings in 1 file; 'lanfab check' shows their locations\n", picture)

    def test_a_vlan_stays_for_a_finding_inside_it(self):
        configuration = site(vlans=range(1, 31))
        vlans = configuration["wired"]["eth0"]["network"]["advanced"]["vlan"]["networks"]
        vlans[20]["network"]["dhcp"]["leasetime"] = "soon"
        self.lay(configuration)
        picture = self.draw()
        self.assertIn("- eth0.21  VLAN", picture)
        self.assertIn("- and 25 more, not shown\n", picture)

    def test_a_great_configuration_takes_a_moment(self):
        leases = [f"192.168.{number // 250}.{number % 250}" for number in range(20000)]
        self.lay(site(vlans=range(1, 4000), leases=leases))
        self.assertLess(len(self.draw(before=processor_limit(30)).splitlines()), 80)


class Texts(Graph):
    # A string that would move the cursor, change colors, reverse the text direction or end a label.
    HOSTILE = "a\x1b[31mb\x07c\x9bd\u202ee\nf\x7fg\x00h<b>&amp;\"\\N\u2028i"

    def test_nothing_reaches_the_terminal_but_what_it_can_show(self):
        self.lay({"hostnames": [{"name": self.HOSTILE, "ipv4": "192.168.1.1"}]})
        self.assertIn("a?[31mb?c?d?e?f?g?h<b>&amp;\"\\N?i  192.168.1.1\n", self.draw())
        self.assertIn("a?[31mb?c?d?e?f?g?h&lt;b&gt;&amp;amp;&quot;\\N?i", self.draw("--format", "dot"))

    def test_a_character_is_shown_where_the_charset_has_it(self):
        self.lay({"hostnames": [{"name": "caf\u00e9", "ipv4": "192.168.1.1"}]})
        for locale in "C", "xx_XX.UTF-8":
            self.assertIn("caf?  192.168.1.1\n", self.draw(locale=locale), locale)
        self.assertIn("caf\u00e9  192.168.1.1\n", self.draw(locale="C.UTF-8"))
        self.assertIn("<td align=\"left\" balign=\"left\">caf\u00e9&#160;", self.draw("--format", "dot"))

    def test_no_line_is_longer_than_a_terminal(self):
        self.lay({"hostnames": [{"name": "\u4e2d" * 5000, "ipv4": "x " * 5000}]})
        # This character takes two columns.
        lines = self.draw(locale="C.UTF-8").splitlines()
        self.assertLessEqual(max(len(line) + line.count("\u4e2d") for line in lines), 80)
        self.assertLess(len(lines), 24)


class Terminal(Graph):
    COLOUR = "\x1b[1;31merror: "

    def setUp(self):
        super().setUp()
        self.lay({"wired": {"eth0": {"enable": True}}})

    def shown(self, *arguments, **options):
        """Returns the output of a successful run on a terminal."""
        master, terminal = os.openpty()
        self.addCleanup(os.close, master)
        done = self.run_lanfab("network.json", *arguments, stdout=terminal, **options)
        os.close(terminal)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        # At the end of the output, no process has the terminal open any more, so reading from it fails.
        text = b""
        with contextlib.suppress(OSError):
            while piece := os.read(master, 1 << 16):
                text += piece
        return text.decode()

    def test_findings_stand_out_there(self):
        self.assertIn(self.COLOUR, self.shown())
        self.assertNotIn("\x1b", self.draw())

    def test_no_colour_where_it_is_not_wanted(self):
        self.assertNotIn("\x1b", self.shown(environment={"NO_COLOR": "1"}))
        self.assertIn(self.COLOUR, self.shown(environment={"NO_COLOR": ""}))


class OutputFile(Graph):
    def test_holds_the_picture(self):
        self.assertEqual(self.draw("-o", "picture"), "")
        self.assertEqual(self.target.read_text(), self.draw())

    def test_has_the_usual_mode_and_keeps_another(self):
        self.draw("-o", "picture", preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(stat.S_IMODE(self.target.stat().st_mode), 0o640)
        self.target.chmod(0o606)
        self.draw("-o", "picture")
        self.assertEqual(stat.S_IMODE(self.target.stat().st_mode), 0o606)

    def test_a_link_stays_one(self):
        (self.directory / "elsewhere").mkdir()
        behind = self.directory / "elsewhere" / "real"
        behind.write_text("old")
        self.target.symlink_to(behind)
        self.draw("-o", "picture")
        self.assertTrue(self.target.is_symlink())
        self.assertEqual(behind.read_text(), self.draw())

    def test_what_is_no_file_is_written_to(self):
        os.mkfifo(self.target)
        reader = os.open(self.target, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        self.draw("-o", "picture")
        self.assertEqual(os.read(reader, 1 << 16).decode(), self.draw())
        self.assertTrue(self.target.is_fifo())

    def test_a_device_that_takes_nothing(self):
        self.assert_trouble(self.run_lanfab("network.json", "-o", "/dev/full"),
                            "/dev/full: No space left on device\n")

    def test_a_directory_that_is_missing(self):
        self.assert_trouble(self.run_lanfab("network.json", "-o", "none/picture"),
                            "none/picture: No such file or directory\n")

    def test_a_directory_that_may_not_be_written(self):
        self.target.write_text("old")
        self.directory.chmod(0o555)
        before = WITHOUT_PRIVILEGES if os.geteuid() == 0 else ()
        done = self.run_lanfab("network.json", "-o", "picture", before=before)
        self.directory.chmod(0o755)
        self.assert_trouble(done, "picture: Permission denied\n")
        self.assertEqual(self.target.read_text(), "old")

    def test_half_of_a_picture_is_none(self):
        limit = ("prlimit", "--fsize=100")
        ignore = ("env", "--ignore-signal=XFSZ")
        done = self.run_lanfab("network.json", "-o", "picture", before=(*ignore, *limit))
        self.assert_trouble(done, "picture: File too large\n")
        self.assert_nothing_left()


class Svg(Graph):
    def test_is_the_element_that_dot_draws(self):
        # Lines that Graphviz adds to the diagram: an XML declaration, comments, and generated titles.
        script = ("echo '<?xml?>'; echo \"<svg $*>\"; echo '<!-- n0 -->'; echo '<title>n0</title>'; cat;"
                  "echo '</svg>'")
        picture = self.draw("--format", "svg", before=self.put_dot(script))
        self.assertEqual(picture, "<svg -Tsvg>\n" + self.draw("--format", "dot") + "</svg>\n")

    def test_without_dot(self):
        for output in (), ("-o", "picture"):
            for form in "svg", "html":
                empty = self.directory / "empty"
                empty.mkdir(exist_ok=True)
                done = self.run_lanfab("network.json", "--format", form, *output, before=with_none(empty))
                self.assert_trouble(done, NO_DOT)
                self.assert_nothing_left()

    def test_a_dot_that_fails(self):
        for script, message in (("echo half; exit 3", "dot exited with status 3"),
                                ("kill -TERM $$", "dot: Terminated"),
                                ("echo nothing", "dot printed no diagram")):
            for form in "svg", "html":
                done = self.run_lanfab("network.json", "--format", form, "-o", "picture",
                                       before=self.put_dot(script))
                self.assert_trouble(done, f"lanfab: {message}\n")
                self.assert_nothing_left()


class Captions(Graph):
    EPOCH = {"SOURCE_DATE_EPOCH": "951782400"}

    def caption(self, *arguments, **options):
        """Returns the lines of a diagram's caption."""
        lines = self.draw("--format", "dot", *arguments, **options).splitlines()
        label = next(line for line in lines if "point-size" in line)
        return tuple(re.findall(r">([^<>]+)<", label))

    def test_file_and_its_last_change(self):
        os.utime(self.directory / "network.json", (0, 1700000000))
        self.assertEqual(self.caption(environment={"TZ": "UTC"}), ("network.json", "2023-11-14"))
        # The date is in the user's time zone.
        self.assertEqual(self.caption(environment={"TZ": "XXX-8"}), ("network.json", "2023-11-15"))

    def test_a_title_stands_above_file_and_day(self):
        self.assertEqual(self.caption("--title", "Shop <7>", environment=self.EPOCH),
                         ("Shop &lt;7&gt;", "network.json, 2000-02-29"))

    def test_directories_are_left_out(self):
        done = self.run_lanfab(str(self.directory / "network.json"), "--format", "dot",
                               environment=self.EPOCH)
        self.assertIn("<b>network.json</b>", done.stdout)

    def test_what_is_not_a_file_is_of_today(self):
        before = datetime.date.today()
        done = self.run_lanfab("-", "--format", "dot", input="{}")
        days = re.findall(r">([0-9]{4}-[0-9]{2}-[0-9]{2})<", done.stdout)
        self.assertEqual(len(days), 1)
        self.assertTrue(before <= datetime.date.fromisoformat(days[0]) <= datetime.date.today())
        self.assertIn("<b>standard input</b>", done.stdout)

    def test_standard_input_can_be_a_file(self):
        os.utime(self.directory / "network.json", (0, 1700000000))
        with open(self.directory / "network.json", encoding="utf-8") as configuration:
            done = self.run_lanfab("-", "--format", "dot", stdin=configuration, environment={"TZ": "UTC"})
        self.assertIn(">2023-11-14<", done.stdout)

    def test_a_tree_has_a_title_on_request(self):
        lines = self.draw("--title", "Sh\u00f6p\x1b 7", environment=self.EPOCH).splitlines()
        self.assertEqual(lines[:3], ["Sh?p? 7", "network.json, 2000-02-29", ""])
        self.assertNotIn("network.json", self.draw())

    def test_a_date_that_is_not_one(self):
        for epoch in "", "yesterday", "-1", "999999999999":
            done = self.run_lanfab("network.json", environment={"SOURCE_DATE_EPOCH": epoch})
            self.assert_trouble(
                done, "lanfab: SOURCE_DATE_EPOCH is not a number of seconds since 1970\n")


class Tables(Graph):
    """Tables below the diagram, with the complete lists that it shortens."""

    def setUp(self):
        super().setUp()
        configuration = site(vlans=range(1, 11), leases=[f"192.168.1.{host}" for host in range(10, 19)])
        leases = configuration["wired"]["eth0"]["network"]["dhcp"]["mac_binding"]["devices"]
        leases[8]["ipv4"] = "192.168.1.10"
        configuration["hostnames"] = [{"name": "t\u00fcr", "ipv4": "192.168.1.17"}]
        self.lay(configuration)

    def test_hold_what_was_shortened(self):
        tree = self.draw("--full", locale="C.UTF-8")
        self.assertIn("and 4 more, not shown", tree)
        # The diagram shows the only host, so there is no table of hosts.
        self.assertNotIn("Host names", tree)
        leases, after = tree.split("\nStatic leases\n")[1].split("\n\nInterfaces and tunnels\n")
        boxes, rest = after.split("\n\n")
        lines = leases.splitlines()
        self.assertEqual(len(lines), 10)
        self.assertEqual(lines[0], "  Interface  Address       MAC address        Host name  Findings")
        self.assertEqual(lines[8], "  eth0       192.168.1.17  02:00:5e:00:53:07  t\u00fcr")
        self.assertIn("  eth0       192.168.1.10  02:00:5e:00:53:08             error: ", lines[9])
        lines = boxes.splitlines()
        self.assertEqual(len(lines), 11)
        self.assertEqual(lines[10], "  eth0.10  VLAN, 10.0.10.1/24  DHCP 10.0.10.200 to 10.0.10.250")
        self.assertRegex(rest, "^1 error and .* in 1 file; 'lanfab check' shows their locations\n$")

    def test_come_on_request(self):
        self.assertNotIn("Static leases", self.draw())
        self.assertNotIn("Static leases", self.draw("--format", "dot"))

    def test_are_in_the_diagram_of_graphviz(self):
        dot = self.draw("--full", "--format", "dot")
        head, boxes = dot.split("subgraph")
        self.assertIn("<b>Static leases</b>", head)
        self.assertEqual(head.count("192.168.1.14<"), 1)
        self.assertNotIn("192.168.1.14<", boxes)

    def test_many_findings_of_one_node(self):
        self.lay({"wired": {"eth0": {f"unknown{number}": 1 for number in range(9)}}})
        tree = self.draw("--full")
        self.assertIn("and 5 more findings, not shown", tree)
        table = tree.split("\nFindings\n")[1].split("\n\n")[0].splitlines()
        self.assertEqual(len(table), 10)
        self.assertTrue(table[1].startswith("  eth0  error: "), table[1])

    def test_nothing_to_add(self):
        self.lay(site(leases=["192.168.1.10"]))
        self.assertEqual(self.draw("--full"), self.draw())


class Page(Graph):
    SVG = "echo '<svg>'; cat >dot; echo '</svg>'"

    def page(self, *arguments):
        return self.draw("--format", "html", *arguments, before=self.put_dot(self.SVG),
                         environment=Captions.EPOCH)

    def test_has_title_diagram_findings_and_tables(self):
        configuration = site(leases=["192.168.1.10", "192.168.1.10"])
        self.lay(configuration)
        page = self.page("--title", "Shop")
        self.assertIn("<title>Shop</title>", page)
        self.assertIn("<h1>Shop</h1>\n<p>network.json, 2000-02-29</p>\n<figure>\n<svg>\n</svg>\n</figure>",
                      page)
        self.assertIn("<p>1 error and 0 warnings in 1 file</p>", page)
        self.assertRegex(page, '<tr><td>1:[0-9]+</td><td class="error">error</td>'
                               "<td>192.168.1.10 is already .*</td><td>lease-address-twice</td></tr>")
        self.assertIn("<h2>Static leases</h2>", page)
        self.assertIn("<tr><td>eth0</td><td>192.168.1.10</td><td>02:00:5e:00:53:00</td><td></td></tr>", page)
        # The title is a heading of the page, so the diagram has none.
        self.assertNotIn("Shop", (self.directory / "dot").read_text())

    def test_says_when_nothing_was_found(self):
        page = self.page()
        self.assertIn("<h1>network.json</h1>\n<p>2000-02-29</p>", page)
        self.assertIn("<h2>Findings</h2>\n<p>None.</p>", page)


class Cases(unittest.TestCase):
    def test_each_example_has_one(self):
        for path in EXAMPLES.glob("*/network.json"):
            self.assertTrue((TESTS / "graph" / f"{path.parent.name}.txtar").exists(), path.parent.name)


class Errors(Graph):
    def test_help(self):
        done = self.run_lanfab("--help")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertIn("Example: lanfab graph ", done.stdout)
        lines = done.stdout.splitlines()
        self.assertTrue(len(lines) <= 24 and max(map(len, lines)) <= 80)

    def test_files_that_cannot_be_read(self):
        self.assert_trouble(self.run_lanfab("none.json"), "none.json: No such file or directory\n")
        self.assert_trouble(self.run_lanfab("."), ".: Is a directory\n")

    def test_malformed_json(self):
        self.assert_trouble(self.run_lanfab("-", input="[]"),
                            "<stdin>:1:1: error: the configuration is not an object in braces [syntax]\n")

    def test_an_unknown_format(self):
        done = self.run_lanfab("network.json", "--format", "png")
        self.assertEqual((done.returncode, done.stdout), (2, ""))

    def test_an_output_that_takes_nothing(self):
        with open("/dev/full", "w") as full:
            done = self.run_lanfab("network.json", stdout=full)
        self.assertEqual(done.returncode, 2)
        self.assertIn("No space left on device", done.stderr)

    def test_a_reader_that_has_gone(self):
        read, write = os.pipe()
        os.close(read)
        done = self.run_lanfab("network.json", stdout=write)
        os.close(write)
        self.assertEqual(done.returncode, 2)
        self.assertIn("Broken pipe", done.stderr)

    def test_findings_are_not_errors(self):
        self.lay({"wired": {"eth0": {"enable": True}}})
        self.assertIn("[port-without-network]", self.draw())


if __name__ == "__main__":
    unittest.main()
