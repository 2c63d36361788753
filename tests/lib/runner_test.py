#!/usr/bin/env python3
"""Tests of the case runner, which must not miss any difference."""

import contextlib
import io
import pathlib
import tempfile
import unittest

from lib import case, expected, runner, txtar, update
from lib.expected import Output
from lib.txtar import BadCase

# Runs the configuration, which is a script here.
PROGRAM = """#!/bin/sh
say() { logger --socket /dev/log --priority local0.notice --tag network "$@"; }
. "$LANFAB_CONFIG_DIR/network.json"
"""

USUAL = """-- $ cmd_lanfab go --
-- log --
notice start
...
notice end
-- commands --
...
systemctl restart dnsmasq
-- /var/run/script: mode 0755 --
#!/bin/sh
-- /var/run/real --
# Head
...
# Trailer
-- /var/run/staged: same as /var/run/real --
-- $ cmd_lanfab go --
-- status --
3
-- /var/run/script: unchanged --
-- /var/run/real: as after go --
-- /var/run/staged: unchanged --
-- $ cmd_lanfab look --
-- /var/run/script: unchanged --
-- /var/run/real: unchanged --
-- /var/run/staged: unchanged --
"""

# Two ports, whose numbers also occur inside a string; each has the usual output and its own.
SCENARIO = """A port.

-- each --
port  number  twice
eth0  7       14
eth1  8       16
-- network.json --
say start
say "port $port"
say end
systemctl start $port
systemctl restart dnsmasq
printf '#!/bin/sh\\n' >/var/run/script
chmod 755 /var/run/script
printf '# Head\\nport=$port\\n# Trailer\\n' | tee /var/run/real >/var/run/staged
printf 'a1$number ${twice}nd\\n\\n' >/var/run/$number-$port
printf word >/var/run/word
[ $port = eth1 ] || echo first >/var/run/first
echo said
echo complained >&2
-- before /var/run/old --
old
-- before sysdb --
KEY = 1
-- # The first run. --
-- $ cmd_lanfab go --
said
-- stderr --
complained
-- commands --
systemctl start $port
-- log --
notice port $port
-- /var/run/$number-$port --
a1$number ${twice}nd

-- /var/run/first: only eth0 --
first
-- /var/run/real --
port=$port
-- /var/run/word: no final newline --
word
-- network.json --
rm /var/run/old
echo new >/var/run/word
exit 3
-- $ cmd_lanfab look --
-- status --
3
-- removed --
/var/run/old
-- /var/run/$number-$port: unchanged --
-- /var/run/first: unchanged, only eth0 --
-- /var/run/real: unchanged --
-- /var/run/script: unchanged --
-- /var/run/staged: unchanged --
-- /var/run/word --
new
"""


FIRST_VARIANT = case.substitute(SCENARIO[SCENARIO.index("-- network.json"):],
                                    {"port": "eth0", "number": "7", "twice": "14"})
FIRST_VARIANT = FIRST_VARIANT.replace(", only eth0", "").replace(": only eth0", "")

# Changes of the expected output that must fail.
CORRUPTIONS = (
    ("said\n-- stderr", "sighed\n-- stderr"),
    ("notice port $port\n", ""),
    ("port=$port\n-- /", "-- /"),
    ("first: only eth0 --\nfirst\n", "first: only eth0 --\nx\n"),
    ("first: unchanged, only eth0 --\n", "first: only eth0 --\nx\n"),
    ("-- status --\n3\n", ""),
    ("-- removed --\n/var/run/old\n", ""),
    ("a1$number ${twice}nd\n\n-- ", "x\n-- "),
    ("word: no final newline --\nword", "word: mode 0600 --\n"),
    ("$port: unchanged --\n", "$port --\na\nb\n"),
    ("real: unchanged", "real: none"),
    ("-- /var/run/staged: unchanged --\n", ""),
    ("-- /var/run/word --\nnew\n", "-- /var/run/word: unchanged --\n"),
    ("-- commands --\n", "-- commands: whole --\n"),
)


def read_usual():
    """The usual output of the scenario above."""
    with tempfile.TemporaryDirectory() as directory:
        path = pathlib.Path(directory, "usual.txt")
        path.write_text(USUAL)
        return expected.Usual(path)


class PlayedTest(unittest.TestCase):
    """Plays the scenario above, unchanged and with a mistake."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = pathlib.Path(directory.name)
        self.program = self.directory / "cmd_lanfab"
        self.program.write_text(PROGRAM)
        self.program.chmod(0o755)
        self.scenario = self.directory / "port.txtar"
        (self.directory / "usual.txt").write_text(USUAL)

    def play(self, text, *options):
        """Returns whether the scenario passes, and the output of the runner."""
        self.scenario.write_text(text)
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            status = runner.main(["--build", str(self.directory), *options, str(self.scenario)])
        return status == 0, printed.getvalue()

    def expect_failure(self, complaint, *replacements, text=FIRST_VARIANT):
        for old, new in replacements:
            self.assertIn(old, text)
            text = text.replace(old, new, 1)
        passed, printed = self.play(text)
        self.assertFalse(passed)
        self.assertIn(complaint, printed)

    def test_passes(self):
        self.assertEqual(self.play(SCENARIO), (True, f"ok     {self.scenario}\n1 of 1 cases passed\n"))

    def test_status(self):
        self.expect_failure("-3\n+4\n", ("exit 3", "exit 4"))
        self.expect_failure("not expected: status\n+5\n", ("echo said\n", "echo said; exit 5\n"))

    def test_signal(self):
        self.expect_failure("-3\n+-9\n", ("exit 3", "kill -9 $$"))

    def test_log(self):
        self.expect_failure("+notice more\n", ("say end", "say more; say end"))
        self.expect_failure("+notice more\n", ("say end", "say end; say more"))
        self.expect_failure("-notice start\n", ("say start\n", ""))
        self.expect_failure("not under local0", ("say end", "say --priority daemon.notice odd; say end"))
        self.expect_failure("+info port eth0", ('say "port', 'say --priority local0.info "port'))
        self.expect_failure("not expected: log\n+notice more\n", ("exit 3", "say more; exit 3"))

    def test_commands(self):
        self.expect_failure("+systemctl stop\n", ("systemctl restart", "systemctl stop; systemctl restart"))
        self.expect_failure("+systemctl stop\n", ("restart dnsmasq\n", "restart dnsmasq; systemctl stop\n"))
        self.expect_failure("-systemctl restart dnsmasq\n", ("systemctl restart dnsmasq\n", ""))

    def test_what_it_prints(self):
        self.expect_failure("+more\n", ("echo said", "echo said; echo more"))
        self.expect_failure("not expected: stderr\n+more\n", ("exit 3", "echo more >&2; exit 3"))
        self.expect_failure("missing: stderr\n-complained\n", ("echo complained >&2\n", ""))

    def test_file_that_nothing_mentions(self):
        self.expect_failure("not expected: /var/data/more\n+x\n",
                            ("echo said", "echo said\necho x >/var/data/more"))
        self.expect_failure("not expected: /var/run/empty\n", ("exit 3", ": >/var/run/empty; exit 3"))

    def test_file_from_before_that_is_not_the_same(self):
        self.expect_failure("not expected: /var/run/old\n+new\n",
                            ("echo said", "echo said; echo new >/var/run/old"))

    def test_file_that_is_missing(self):
        self.expect_failure("missing: /var/run/word", ("printf word >/var/run/word\n", ""))

    def test_usual_file_that_is_missing(self):
        self.expect_failure("missing: /var/run/script", ("chmod 755 /var/run/script", "rm /var/run/script"))
        self.expect_failure("missing: /var/run/staged", (">/var/run/staged", ">/dev/null"))

    def test_usual_file_that_differs(self):
        self.expect_failure("+echo\n", ("bin/sh\\n'", "bin/sh\\necho\\n'"))
        self.expect_failure("-# Head\n", ("# Head\\n", ""))
        self.expect_failure("+more\n", ("# Trailer\\n'", "# Trailer\\nmore\\n'"))

    def test_staged_file_that_differs(self):
        self.expect_failure("expected /var/run/staged",
                            (">/var/run/staged", "| sed s/port/PORT/ >/var/run/staged"))

    def test_mode(self):
        self.expect_failure("mode 0644 instead of 0755: /var/run/script", ("chmod 755", "chmod 644"))
        self.expect_failure("mode 0600 instead of 0644: /var/run/word",
                            ("echo said", "chmod 600 /var/run/word; echo said"))
        self.expect_failure("mode 0600 instead of 0755: /var/run/script",
                            ("exit 3", "chmod 600 /var/run/script; exit 3"))

    def test_file_that_is_not_unchanged(self):
        self.expect_failure("+x\n", ("exit 3", "echo x >>/var/run/staged; exit 3"))

    def test_last_line_without_an_end(self):
        self.expect_failure("No newline at end of file", ("printf word", "echo word"))
        self.expect_failure("No newline at end of file", ("echo new", "printf new"))

    def test_removed_file(self):
        self.expect_failure("missing: removed\n-/var/run/old\n", ("rm /var/run/old\n", ""))
        self.expect_failure("not expected: removed", ("echo said", "rm /var/run/old; echo said"))

    def test_system_database(self):
        self.expect_failure("missing: sysdb\n-KEY = 1\n",
                            ("echo said", "rm /var/run/sysdb.sqlite3; echo said"))
        self.expect_failure("-KEY = 2\n+KEY = 1\n",
                            ("go --\nsaid\n", "go --\nsaid\n-- sysdb --\nKEY = 2\n"))

    def test_second_variant_alone(self):
        self.expect_failure("with port=eth1 number=8 twice=16:\nrun 1, cmd_lanfab go:\n",
                            ("echo said", "echo said; [ $port = eth0 ] || echo more"), text=SCENARIO)

    def test_update_gives_back_what_was_corrupted(self):
        text = SCENARIO
        for old, new in CORRUPTIONS:
            text = text.replace(old, new)
        self.assertTrue(self.play(text, "--update")[0])
        self.assertEqual(self.scenario.read_text(), SCENARIO)

    def test_update_of_variants_that_no_longer_agree(self):
        for command in ("echo more", "echo more >/var/run/more", "rm /var/run/word"):
            text = SCENARIO.replace("echo said\n", f"echo said; [ $port = eth0 ] || {command}\n")
            passed, printed = self.play(text, "--update")
            self.assertFalse(passed)
            self.assertIn("the variants no longer agree", printed)
            self.assertEqual(self.scenario.read_text(), text)


class FormatTest(unittest.TestCase):
    """The format of a scenario."""

    def refuse(self, complaint, text):
        with self.assertRaisesRegex(BadCase, complaint):
            parts = case.split(txtar.parse(text)[1])
            case.refuse_unused_variables(parts)
            for row in case.variants(parts):
                case.build(case.in_variant(parts, row))

    def test_text_is_written_as_it_was_read(self):
        for text in ("", "x\n", "-- a --\n", "x\n\n-- a: b, c --\n\n-- d --\n--  --\n--e --\n\r\n"):
            self.assertEqual(txtar.unparse(*txtar.parse(text)), text)

    def test_last_line_without_an_end(self):
        self.refuse("the last line has no end", "-- $ cmd_lanfab --\n-- log --\nx")
        for text in ("", "\n", "a", "a\nb", "a\n"):
            self.assertEqual(txtar.content(txtar.make_part("x", text)), text)

    def test_text_that_cannot_be_written(self):
        with self.assertRaises(BadCase):
            txtar.unparse("", [txtar.make_part("log", "-- x --\n")])

    def test_unknown_part(self):
        self.refuse('called "lg"', "-- $ cmd_lanfab --\n-- lg --\n")
        self.refuse('called "before log"', "-- before log --\n-- $ cmd_lanfab --\n")
        self.refuse('called "log" before a command', "-- log --\n-- $ cmd_lanfab --\n")
        self.refuse('called "log" before a command', "-- $ cmd_lanfab --\n-- umask --\n077\n-- log --\n")
        self.refuse('called "without ports"', "-- $ cmd_lanfab --\n-- without ports --\n-- $ cmd_lanfab --\n")

    def test_part_that_is_there_twice(self):
        self.refuse("there twice", "-- $ cmd_lanfab --\n-- log --\n-- log --\n")
        self.refuse("there twice", "-- umask --\n-- umask --\n-- $ cmd_lanfab --\n")

    def test_unknown_note(self):
        self.refuse("cannot be", "-- $ cmd_lanfab --\n-- log: unchangd --\n")
        self.refuse("cannot be", "-- $ cmd_lanfab --\n-- /x: same as /y --\n")
        self.refuse("cannot be", "-- network.json: unchanged --\n-- $ cmd_lanfab --\n")
        self.refuse("cannot be", "-- umask: none --\n-- $ cmd_lanfab --\n")

    def test_lines_that_nothing_would_read(self):
        self.refuse("has no lines", "-- $ cmd_lanfab --\n-- /x: unchanged --\nx\n")
        self.refuse("has no lines", "-- $ cmd_lanfab --\n-- refused by dnsmasq --\nx\n")
        self.refuse("has no lines", "-- network.json: examples/router --\n{}\n-- $ cmd_lanfab --\n")

    def test_run_without_a_command(self):
        self.refuse("no command", "")
        self.refuse("no command", "-- $ cmd_lanfab --\n-- umask --\n077\n")
        self.refuse("a command is", "-- $ lanfab --\n")

    def test_table_of_variants(self):
        self.refuse("nothing uses", "-- each --\na b\n1 2\n3 4\n-- $ cmd_lanfab $a --\n")
        self.refuse("each needs", "-- each --\na\n1\n-- $ cmd_lanfab $a --\n")
        self.refuse("each needs", "-- each --\na b\n1 2\n3\n-- $ cmd_lanfab $a $b --\n")

    def test_part_for_some_variants(self):
        table = "-- each --\na b\n1 x\n2 x\n3 y\n"
        outputs = "-- log: only x --\n-- /f: unchanged, only 3 --\n"
        parts = txtar.parse(f"{table}-- $ cmd_lanfab $a $b --\n{outputs}")[1]
        self.assertEqual([[part.header() for part in case.in_variant(parts, row)[2:]]
                          for row in case.variants(parts)],
                         [["-- log --\n"], ["-- log --\n"], ["-- /f: unchanged --\n"]])
        self.refuse("there are none", "-- $ cmd_lanfab --\n-- log: only x --\n")
        self.refuse("the table lacks", f"{table}-- $ cmd_lanfab $a $b --\n-- log: only z --\n")

    def test_value_of_a_variable(self):
        row = {"a": "1", "ab": "2"}
        self.assertEqual(case.substitute("$a$ab${a}b $abc $ $$a", row), "121b $abc $ $1")


    def test_what_a_command_prints(self):
        parts = case.split(txtar.parse("-- $ cmd_lanfab --\nx\n-- stdout --\ny\n-- status --\n1\n")[1])
        self.assertEqual([part.name for part in parts], ["$ cmd_lanfab", "stdout", "stdout", "status"])
        self.refuse("there twice", txtar.unparse("", parts))
        for text in ("-- $ lanfab check --\nx\n-- status --\n1\n",
                     "-- $ cmd_lanfab --\n-- stdout: no final newline --\nx\n"):
            self.assertEqual(txtar.unparse("", case.join(case.split(txtar.parse(text)[1]))), text)

    def test_settings_before_a_command(self):
        run = case.build(txtar.parse("-- $ LC_ALL=C A= lanfab graph --x=y --\n")[1]).runs[0]
        self.assertEqual((run.settings(), run.words()),
                         ({"LC_ALL": "C", "A": ""}, ["lanfab", "graph", "--x=y"]))


class ReaderTest(unittest.TestCase):
    """A case that runs without the sandbox."""

    CASE = """A reader.

-- network.json --
{"one": 1}
-- $ lanfab graph network.json --
{"one": 1}
network.json C.UTF-8
-- network.json --
{"two": 2}
-- $ LC_ALL=C lanfab graph network.json --
{"two": 2}
network.json C
-- status --
2
-- stderr --
trouble
"""
    PROGRAM = """#!/bin/sh
cat "$2"
echo "$2 $LC_ALL"
if [ $LC_ALL = C ]; then echo trouble >&2; exit 2; fi
"""

    def play(self, text, *options):
        with tempfile.TemporaryDirectory() as directory:
            program, path = pathlib.Path(directory, "cli", "lanfab"), pathlib.Path(directory, "reader.txtar")
            program.parent.mkdir()
            program.write_text(self.PROGRAM)
            program.chmod(0o755)
            path.write_text(text)
            printed = io.StringIO()
            with contextlib.redirect_stdout(printed):
                runner.main(["--build", directory, *options, str(path)])
            return printed.getvalue(), path.read_text()

    def test_passes(self):
        self.assertIn("1 of 1 cases passed", self.play(self.CASE)[0])

    def test_each_difference_fails_and_is_updated(self):
        for old, new, complaint in (("{\"one\": 1}\nnetwork.json C.", "{}\nnetwork.json C.", "-{}\n"),
                                    ("network.json C\n", "", "+network.json C\n"),
                                    ("-- stderr --\ntrouble\n", "", "not expected: stderr"),
                                    ("-- status --\n2\n", "-- status --\n1\n", "-1\n+2\n"),
                                    ("-- status --\n2\n", "", "not expected: status\n+2\n")):
            text = self.CASE.replace(old, new)
            printed, _ = self.play(text)
            self.assertIn("0 of 1 cases passed", printed)
            self.assertIn(complaint, printed)
            self.assertEqual(self.play(text, "--update")[1], self.CASE)


class ExpectationTest(unittest.TestCase):
    """The notation of a run."""

    def expect(self, text, there):
        run = case.build(case.split(txtar.parse(text)[1])).runs[0]
        return expected.expect(run, read_usual(), there)

    def test_nothing_is_said(self):
        outcome = self.expect("-- $ cmd_lanfab Go --\n", {})
        self.assertEqual(outcome, {
            "log": Output("notice start\nnotice end\n"), "commands": Output("systemctl restart dnsmasq\n"),
            "/var/run/script": Output("#!/bin/sh\n", 0o755), "/var/run/real": Output("# Head\n# Trailer\n"),
            "/var/run/staged": Output("# Head\n# Trailer\n")})

    def test_action_without_a_usual(self):
        self.assertEqual(self.expect("-- $ cmd_lanfab --\n", {"/var/run/real": Output("x\n")}), {})

    def test_usual_of_a_failure(self):
        there = {"/var/run/script": Output("x\n", 0o600)}
        outcome = self.expect("-- $ cmd_lanfab go --\n-- status --\n3\n", there)
        self.assertEqual(outcome, {"status": Output("3\n"), "/var/run/script": Output("x\n", 0o600),
                                   "/var/run/real": Output("# Head\n# Trailer\n")})

    def test_usual_that_does_not_hold(self):
        outcome = self.expect("-- $ cmd_lanfab go --\n-- log: none --\n-- commands: whole --\nip\n"
                              "-- /var/run/real: none --\n-- /var/run/script --\n"
                              "-- /var/run/staged --\nx\n", {})
        self.assertEqual(outcome, {"commands": Output("ip\n"), "/var/run/script": Output("", 0o755),
                                   "/var/run/staged": Output("x\n")})

    def test_unchanged_file_that_was_not_there(self):
        with self.assertRaisesRegex(BadCase, "was not there before"):
            self.expect("-- $ cmd_lanfab go --\n-- /var/run/real: unchanged --\n", {})

    def test_database_before_a_run(self):
        parts = txtar.parse("-- before sysdb --\nB = 3\nN/A = \n-- $ cmd_lanfab --\n")[1]
        run = case.build(parts).runs[0]
        previous = {"sysdb": Output("A = 1\nB = 2\n"), "log": Output("x\n"), "/y": Output("")}
        there = expected.before(run, previous)
        self.assertEqual(there, {"sysdb": Output("A = 1\nB = 3\nN/A = \n"), "/y": Output("")})


class UpdateTest(unittest.TestCase):
    """Updating a scenario."""

    @classmethod
    def setUpClass(cls):
        parts, cls.outcomes = case.split(txtar.parse(SCENARIO)[1]), []
        for row in case.variants(parts):
            previous, runs = {}, []
            for run in case.build(case.in_variant(parts, row)).runs:
                previous = expected.expect(run, read_usual(), expected.before(run, previous))
                runs.append(previous)
            cls.outcomes.append(runs)

    def update(self, text):
        comment, parts = txtar.parse(text)
        updated = update.update(case.split(parts), read_usual(), self.outcomes)
        return txtar.unparse(comment, case.join(updated))

    def test_what_is_right_stays_as_it_is_written(self):
        self.assertEqual(self.update(SCENARIO), SCENARIO)
        text = SCENARIO.replace("staged: unchanged --", "staged --\n# Head\nport=$port\n# Trailer")
        stderr, commands = "-- stderr --\ncomplained\n", "-- commands --\nsystemctl start $port\n"
        text = text.replace(stderr + commands, commands + stderr)
        self.assertEqual(self.update(text), text)

    def test_each_corruption_is_undone(self):
        for old, new in CORRUPTIONS:
            with self.subTest(corrupted=old, to=new):
                self.assertIn(old, SCENARIO)
                self.assertEqual(self.update(SCENARIO.replace(old, new)), SCENARIO)

    def test_variables_are_found_again(self):
        rows = [{"port": "eth0", "n": "0", "same": "1"}, {"port": "eth1", "n": "1", "same": "1"}]
        for texts, line in ((("x 1\n", "x 1\n"), "x 1\n"), (("eth0 20\n", "eth1 21\n"), "$port 2$n\n"),
                            (("eth00\n", "eth10\n"), "${port}0\n"), (("eth0_\n", "eth1_\n"), "${port}_\n")):
            self.assertEqual(update.with_variables(texts, rows, {}), line)
        for texts in (("a\n", "b\n"), ("eth0\n", "eth0\n\n"), ("0 1\n", "1 0\n")):
            with self.assertRaisesRegex(BadCase, "no longer agree"):
                update.with_variables(texts, rows, {})


if __name__ == "__main__":
    unittest.main()
