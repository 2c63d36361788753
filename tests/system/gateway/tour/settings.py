"""Reads the configuration for the tour.

A value of the wrong type does not raise an exception. Like the program, this module ignores it; it also adds
a remark.
"""

import ipaddress
import json
import re

HOST_NAME = re.compile(r"[A-Za-z0-9]([A-Za-z0-9.-]{0,251}[A-Za-z0-9])?")
MAC_ADDRESS = re.compile(r"[0-9A-Fa-f]{2}(:[0-9A-Fa-f]{2}){5}")
LONGEST_QUOTATION = 40


class Unusable(Exception):
    """The file is not a configuration. The message begins with ":LINE:COLUMN" if the location is known."""


def load(path):
    """Returns the configuration in a file as `Settings`; raises `Unusable` if it is not a JSON object."""
    with open(path, "rb") as file:
        data = file.read()
    try:
        value = json.loads(data.decode("utf-8-sig"))
    except UnicodeDecodeError:
        raise Unusable(": not valid UTF-8") from None
    except json.JSONDecodeError as error:
        raise Unusable(f":{error.lineno}:{error.colno}: not valid JSON: {error.msg}") from None
    except RecursionError:
        raise Unusable(": nested too deeply") from None
    except ValueError as error:
        raise Unusable(f": {error}") from None
    if not isinstance(value, dict):
        raise Unusable(f": the configuration must be an object, not {kind(value)}")
    return Settings(value)


def kind(value):
    """Returns the type of a JSON value, with an article."""
    if value is None:
        return "null"
    kinds = {bool: "a boolean", int: "a number", float: "a number", str: "a string", list: "an array"}
    return kinds.get(type(value), "an object")


def quoted(text):
    """Returns a string of the configuration for output: short, ASCII, without control characters."""
    quotation = json.dumps(text)
    return quotation if len(quotation) <= LONGEST_QUOTATION else quotation[: LONGEST_QUOTATION - 3] + '..."'


class Settings:
    """An object of the configuration. Each query returns a value of its type, or None."""

    def __init__(self, members=None, path="", remarks=None):
        self.path = path
        # Shared by all objects of a configuration; a dict keeps the order and drops duplicates.
        self.remarks = {} if remarks is None else remarks
        self._members = members or {}

    def remark(self, text):
        self.remarks[text] = True

    def where(self, key):
        return f"{self.path}.{key}" if self.path else key

    def has(self, key):
        return key in self._members

    def _typed(self, key, wanted, fits):
        value = self._members.get(key)
        if key not in self._members or fits(value):
            return value
        self.remark(f'"{self.where(key)}" is {kind(value)}, not {wanted}')
        return None

    def flag(self, key):
        return self._typed(key, "a boolean", lambda value: isinstance(value, bool)) or False

    def text(self, key):
        return self._typed(key, "a string", lambda value: isinstance(value, str))

    def integer(self, key, lowest=-(2**31), highest=2**31 - 1):
        def fits(value):
            return type(value) is int or (isinstance(value, float) and value.is_integer())

        value = self._typed(key, "an integer", fits)
        if value is None or lowest <= value <= highest:
            return value if value is None else int(value)
        self.remark(f'"{self.where(key)}" is outside {lowest} to {highest}')
        return None

    def object(self, key):
        """Returns the object at `key`; an empty object if there is none."""
        members = self._typed(key, "an object", lambda value: isinstance(value, dict))
        return Settings(members, self.where(key), self.remarks)

    def at(self, path):
        """Returns the object at a dotted path; an empty object if there is none."""
        settings = self
        for key in path.split("."):
            settings = settings.object(key)
        return settings

    def objects(self, key):
        """Returns the array at `key`, with an empty object for each element that is not an object."""
        array = self._typed(key, "an array", lambda value: isinstance(value, list)) or []
        elements = Settings(
            {f"{key}[{index}]": value for index, value in enumerate(array)}, self.path, self.remarks
        )
        return [elements.object(f"{key}[{index}]") for index in range(len(array))]

    def strings(self, key):
        """Returns the strings of the array at `key`."""
        array = self._typed(key, "an array", lambda value: isinstance(value, list)) or []
        return [element for element in array if isinstance(element, str)]

    def _matching(self, key, pattern, wanted):
        text = self.text(key)
        if text is None or pattern.fullmatch(text):
            return text
        self.remark(f'"{self.where(key)}" is not a {wanted}: {quoted(text)}')
        return None

    def host_name(self, key):
        return self._matching(key, HOST_NAME, "host name")

    def mac_address(self, key):
        return self._matching(key, MAC_ADDRESS, "MAC address")

    def address(self, key):
        text = self.text(key)
        if text is None:
            return None
        try:
            return ipaddress.IPv4Address(text)
        except ValueError:
            self.remark(f'"{self.where(key)}" is not an IPv4 address: {quoted(text)}')
            return None

    def interface(self, address_key, prefix_key):
        """Returns the address with its prefix length, 32 if that is missing; None without an address."""
        address = self.address(address_key)
        if address is None:
            return None
        prefix = self.integer(prefix_key, 0, 32)
        return ipaddress.IPv4Interface((address, 32 if prefix is None else prefix))
