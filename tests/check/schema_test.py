#!/usr/bin/env python3
"""Tests the schema, and that `lanfab check` agrees with it. The program is the first argument."""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

import jsonschema

import fuzz.shape
from lib import case
from lib.checkout import CHECKOUT, EXAMPLES
from lib.runner import paths_of
from soundness import generator

LANFAB = os.path.abspath(sys.argv.pop(1))
TEXT = (CHECKOUT / "schema" / "network.schema.json").read_text(encoding="utf-8")
SCHEMA = json.loads(TEXT)
VALIDATOR = jsonschema.Draft7Validator(SCHEMA, format_checker=jsonschema.draft7_format_checker)
SHAPE_RULES = {"wrong-type", "out-of-range", "unknown-word", "unknown-key", "doubtful-key"}

# Scenarios with values that the schema does not allow, and the rules that they violate.
EXCEPTIONS = {
    "bridge_members_of_other_types": {"wrong-type"},
    "bridge_vlans": {"unknown-key"},  # a VLAN with a mode, like a port
    "cellular_name_servers": {"wrong-type"},
    "dhcp_static_leases_off": {"wrong-type"},
    "dhcp_key_missing": {"wrong-type"},
    "dhcp_port_netmasks": {"netmask-out-of-range"},
    "dhcp_vlan_longest_name": {"vlan-id-out-of-range"},
    "dhcp_vlan_name_too_long": {"vlan-id-out-of-range"},
    "dhcp_vlan_name_too_long_but_off": {"vlan-id-out-of-range"},
    "gre_routes": {"wrong-type"},
    "gre_without_tunnels": {"wrong-type"},
    "netmasks": {"netmask-out-of-range"},
    "pass_through_static_port_without_address": {"netmask-out-of-range"},
    "pass_through_unknown_mode": {"unknown-word"},
    "wifi_object_missing": {"wrong-type"},
    "wrong_types": {"wrong-type"},
    "wrong_types_in_lists": {"wrong-type"},
}
# Scenarios in which the schema rejects an interface name, because a bridge can take its settings from a wired
# interface with any name.
ALLOWED_BY_THE_PROGRAM = {"dhcp_bridge_primary"}

# Paths that only the network of a port has. shape.py has one shape for all networks.
PORT_ONLY = re.compile(
    r"(ap|client|\[\])\.network\.(mode|dhcp\.(secondary_leasetime|disable_dhcp_secondary)|"
    r"advanced\.(telnet(\.enable)?|vlan\.(hybrid|networks\[\]\.network.*)))$")


def resolve(schema):
    """Returns the schema, after following its references."""
    while "$ref" in schema:
        schema = fuzz.shape.resolve(schema["$ref"])
    return schema


def schema_paths(schema, path=""):
    """Yields the path of every value, such as "static_routes[].ipv4", and its schema."""
    schema = resolve(schema)
    yield path, schema
    for key, member in schema.get("properties", {}).items():
        yield from schema_paths(member, f"{path}.{key}" if path else key)
    if "items" in schema:
        yield from schema_paths(schema["items"], path + "[]")


def shape_paths(shapes, shape, path=""):
    """Yields the path of every value in a shape."""
    yield path
    if isinstance(shape, str) and shape.startswith("@"):
        yield from shape_paths(shapes, shapes[shape], path)
    elif isinstance(shape, dict):
        for key, member in shape.items():
            yield from shape_paths(shapes, member, f"{path}.{key}" if path else key)
    elif isinstance(shape, list):
        yield from shape_paths(shapes, shape[0], path + "[]")


def configurations_of_scenarios():
    """Yields the name of each scenario with each of its valid JSON objects."""
    for path in paths_of("scenarios"):
        for text in case.configurations(path):
            if generator.parsed(text) is not None:
                yield path.stem, text


def findings_of(texts):
    """Returns a list of findings for each configuration."""
    with tempfile.TemporaryDirectory() as directory:
        names = [f"{number}.json" for number in range(len(texts))]
        for name, text in zip(names, texts):
            pathlib.Path(directory, name).write_text(text, encoding="utf-8")
        output = subprocess.run([LANFAB, "check", "--offline", "--format", "json", *names], cwd=directory,
                                check=False, stdout=subprocess.PIPE, text=True).stdout
    reports = json.loads(output)
    assert [report["file"] for report in reports] == names, output
    return [report["findings"] for report in reports]


class Schema(unittest.TestCase):
    def test_it_is_a_schema_of_draft_7(self):
        jsonschema.Draft7Validator.check_schema(SCHEMA)

    def test_the_program_prints_it(self):
        output = subprocess.run([LANFAB, "schema"], check=True, stdout=subprocess.PIPE, text=True).stdout
        self.assertEqual(output, TEXT)

    def test_it_has_every_path_that_the_program_reads_and_no_other(self):
        shapes = fuzz.shape.shapes()
        # The shapes have this object separately. That of a GRE TAP tunnel is not part of a configuration.
        shapes["@network"]["tunnels"]["wireguard"] = "@wireguard"
        read = {path for path in shape_paths(shapes, "@network") if not PORT_ONLY.search(path)}
        known = {path for path, _ in schema_paths(SCHEMA)}
        self.assertEqual(known - {"$schema"}, read)

    def test_every_definition_is_used(self):
        for name in SCHEMA["definitions"]:
            self.assertIn(f'"#/definitions/{name}', TEXT)

    def test_every_value_is_described_and_has_good_examples(self):
        for path, schema in schema_paths(SCHEMA):
            with self.subTest(path):
                self.assertRegex(schema["description"], r"^[^ ].*\.$")
                examples = schema.get("examples", [])
                self.assertTrue(examples or schema["type"] in ("object", "array"))
                for value in [*examples, *([schema["default"]] if "default" in schema else [])]:
                    VALIDATOR.evolve(schema=schema).validate(value)

    def test_numbers_with_a_size_have_a_unit(self):
        for path, schema in schema_paths(SCHEMA):
            if re.search("(netmask|[.]mtu|mtu_size|keep_alive)$", path):
                self.assertIn("unit", schema, path)


class Judgement(unittest.TestCase):
    def test_the_examples_are_allowed(self):
        for path in EXAMPLES.glob("*/network.json"):
            with self.subTest(path.parent.name):
                text = path.read_text(encoding="utf-8")
                VALIDATOR.validate(json.loads(text))
                self.assertEqual(findings_of([text]), [[]])

    def test_the_program_allows_in_scenarios_what_the_schema_allows(self):
        hit = {}
        configurations = list(configurations_of_scenarios())
        for (name, text), findings in zip(configurations, findings_of([text for _, text in configurations])):
            with self.subTest(name, text=text):
                rules = {finding["rule"] for finding in findings}
                is_allowed = jsonschema.Draft7Validator(SCHEMA).is_valid(json.loads(text))
                expected = rules & (SHAPE_RULES | EXCEPTIONS.get(name, set()))
                if name not in ALLOWED_BY_THE_PROGRAM:
                    self.assertEqual(not expected, is_allowed)
                hit.setdefault(name, set()).update(expected)
        self.assertEqual({name: rules for name, rules in hit.items() if rules}, EXCEPTIONS)


if __name__ == "__main__":
    unittest.main()
