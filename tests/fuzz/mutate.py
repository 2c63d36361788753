"""Mutates the sources, one bug at a time, and checks that the fuzz target finds each bug.

A target must find the bug with the sample of inputs that CI runs, with the expected report, and must find
nothing without a mutation. The original code of a mutation must occur exactly once in its source.
"""

import argparse
import concurrent.futures
import dataclasses
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from lib import mutation
from lib.checkout import CHECKOUT, TESTS


@dataclasses.dataclass
class Bug:
    name: str
    target: str
    source: str
    text: str
    replacement: str
    # A regular expression for the target's report.
    report: str


BUGS = [
    Bug("a wrong type", "paths", "src/config/lookup.cpp",
        "return has_text(value) ? value.asString() : std::string();",
        "return value.asString();",
        r"Json::LogicError"),
    Bug("an overflow of one byte", "paths", "platform/host/libvantor/files.cpp",
        "if (length + 1 >= size || is_control_character(byte)) return false;",
        "if (length + 1 > size || is_control_character(byte)) return false;",
        r"stack-buffer-overflow"),
    Bug("a null stream", "paths", "src/networkd/wwan.cpp",
        '''kWwanUnitOrder, link.ifname, "network");
  if (!file) return -1;''',
        '''kWwanUnitOrder, link.ifname, "network");''',
        r"null pointer|address 0x0000000000"),
    Bug("an integer overflow", "paths", "src/networkd/network_unit.cpp",
        "return metric.value_or(0) > 0 ?",
        "return metric.value_or(0) - 1 >= 0 ?",
        r"signed integer overflow"),
    Bug("a lost trailer", "paths", "src/dnsmasq/dnsmasq_conf.cpp",
        "  write_trailer(file.get());\n",
        "  if (ctx->bridge_enabled) write_trailer(file.get());\n",
        r"the dnsmasq configuration is not complete"),
    Bug("a stream never closed", "paths", "src/util/open_file.cpp",
        "const bool is_closed = ::close(file->descriptor) == 0;",
        "const bool is_closed = file->is_appended || ::close(file->descriptor) == 0;",
        r"a stream was never closed"),
    Bug("an endless loop", "paths", "src/tunnels/wireguard.cpp",
        "begin = comma + 1;",
        "begin = comma;",
        r"libFuzzer: (timeout|out-of-memory)"),
    Bug("a failure reported as success", "paths", "src/networkd/network_unit.cpp",
        "if (!owner) return -1;",
        "if (!owner) return 0;",
        r"apply succeeded without a unit"),
    Bug("a doubled line", "paths", "src/networkd/network_unit.cpp",
        r'''std::fprintf(file, "GatewayOnlink = yes\n");''',
        r'''std::fprintf(file, "GatewayOnlink = yes\nGatewayOnlink = yes\n");''',
        r"a doubled line in a unit"),
    Bug("a gate that lets a newline through", "json", "platform/host/libcmd/text_policy.cpp",
        r"(byte < 0x20 && byte != '\t') || byte == 0x7f) return byte;",
        r"(byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7f) return byte;",
        r"a text with a control character"),
    Bug("a key that ends at a quote within it", "source", "cli/config_file/source.cpp",
        "} while (text[quote - 1] == '\\\\');",
        "} while (false);",
        r"a key is not where the source has it"),
    Bug("a column that counts on", "source", "cli/config_file/text_positions.cpp",
        "position.column = is_line_end ? 1 : position.column + 1;",
        "position.column = is_line_end && offset > 0 ? 2 : position.column + 1;",
        r"has another (location|end)"),
    Bug("a caret that counts bytes", "source", "cli/lint/excerpt.cpp",
        "columns < 0 ? 1 : static_cast<std::size_t>(columns)",
        "size",
        r"the caret is (not as far|behind the line|under something else)"),
    Bug("a key's finding one byte off", "checks", "cli/lint/shape_rules.cpp",
        "findings.add(key_range(site.source.text, value), message, details);",
        "findings.add({key_range(site.source.text, value).begin + 1, 0}, message, details);",
        r"neither at a value nor at a key"),
    Bug("findings out of order", "checks", "cli/lint/examine.cpp",
        "return a.range.begin < b.range.begin; });",
        "return a.rule < b.rule; });",
        r"not in the order of the text"),
    Bug("findings that depend on the layout", "checks", "cli/lint/examine.cpp",
        "if (rule.examine == nullptr || rank_of(rule.name) != rank) continue;",
        "if (rule.examine == nullptr || rank_of(rule.name) != rank || site.source.text[0] != '{') continue;",
        r"the layout of a text changes its findings"),
    Bug("a hunk without lines one line off", "changes", "cli/compare/unified_diff.cpp",
        "if (hunk.b == 0) --hunk.a;",
        "",
        r"a hunk is not where it says"),
    Bug("a last line that gets an end", "changes", "cli/compare/unified_diff.cpp",
        "text.back() != '\\n'",
        "text.back() == '\\0'",
        r"gives another text than the new one"),
    Bug("added lines that are not counted", "changes", "cli/compare/change_summary.cpp",
        "for (const std::size_t number : file.added)",
        "for (const std::size_t number : std::vector<std::size_t>())",
        r"without a sentence, some lines are not counted"),
    Bug("an angle bracket as it is", "diagrams", "cli/base/markup.cpp",
        """markup += "&lt;";""",
        "markup += '<';",
        r"(an attribute without a value|a label has another element|a tag without a name)"),
    Bug("a line that is too wide", "diagrams", "cli/graph/text_tree.cpp",
        "kColumns - (depth + 1) * kBranchColumns",
        "kColumns - depth * kBranchColumns",
        r"a diagram is wider than a terminal"),
    Bug("findings left out without a note", "diagrams", "cli/graph/shorten.cpp",
        "node.findings.resize(kShown);",
        "node.findings.resize(kShown - 1); return;",
        r"a finding is left out unmentioned"),
    Bug("an edge too many", "diagrams", "cli/graph/dot.cpp",
        """(is_left ? inner_name + " -- " + outer_name""",
        """(is_left ? inner_name + " -- " + inner_name""",
        r"an edge leads nowhere"),
]


def run(program, target, scratch):
    """Runs a target on the sample; returns its status and output."""
    command = [TESTS / "fuzz" / "run", program, target, "-rss_limit_mb=1024", f"-artifact_prefix={scratch}/"]
    environment = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}
    done = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", check=False)
    return done.returncode, done.stdout


def error_of_bug(bug, build):
    """Returns the reason why the bug was not found; "" if it was found."""
    with tempfile.TemporaryDirectory() as directory:
        scratch = pathlib.Path(directory)
        try:
            target = f"fuzz_{bug.target}"
            program, = mutation.build_with(bug.source, bug.text, bug.replacement, build, [target], scratch)
        except mutation.MutationError as error:
            return str(error)
        status, output = run(program, bug.target, scratch)
    if status == 0:
        return "not found"
    if not re.search(bug.report, output):
        return f"unexpected report:\n{output[-3000:]}"
    return ""


def error_of_target(target, build):
    """Returns the report of a target without a mutation; "" if it finds nothing."""
    with tempfile.TemporaryDirectory() as directory:
        status, output = run(build / f"tests/fuzz/fuzz_{target}", target, pathlib.Path(directory))
    return output[-3000:] if status else ""


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--build", type=pathlib.Path, default=CHECKOUT / "build/clang")
    parser.add_argument("--exhaustive", action="store_true",
                        help="test all bugs, and the targets without mutation (default: one bug per target)")
    parser.add_argument("bug", nargs="*", help="test these bugs instead, by name")
    arguments = parser.parse_args()
    first = {bug.target: bug for bug in reversed(BUGS)}.values()
    bugs = [bug for bug in BUGS if bug.name in arguments.bug] if arguments.bug else first
    if arguments.exhaustive:
        bugs = BUGS
    build = arguments.build.resolve()
    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        jobs = {bug.name: pool.submit(error_of_bug, bug, build) for bug in bugs}
        for target in sorted({bug.target for bug in bugs}) if arguments.exhaustive else []:
            jobs[f"no mutation, {target}"] = pool.submit(error_of_target, target, build)
        for name, job in jobs.items():
            error = job.result()
            print(f"{'FAILED' if error else 'ok    '} {name}{f': {error}' if error else ''}", flush=True)
            failed += bool(error)
    return 1 if failed or not bugs else 0


if __name__ == "__main__":
    sys.exit(main())
