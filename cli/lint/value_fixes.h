#pragma once

// Fixes for values in the wrong form whose meaning is certain.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

// The JSON literal that a value certainly means although its schema does not allow the value: 24 for "24", a
// prefix length of 24 for "255.255.255.0", true for "yes", "router" for "Router". Nothing if there is none.
std::optional<std::string> allowed_literal(const Json::Value& value, const Json::Value& schema);

// The prefix length that a number or a string means: 24, "24", "/24", "255.255.255.0". Nothing for any other
// value.
std::optional<int> prefix_length_of(const Json::Value& value);

// The details of a finding whose fix replaces a value by the string `text`.
FindingDetails write_string_instead(const Json::Value& value, const std::string& text);

// The details of a finding about an address with a prefix length, such as "192.168.1.1/24" in the member
// `address_key` of an object. The fix moves the prefix length to the member `netmask_key`, or removes it if
// that member has the same value. There is no fix for any other address, if the netmask has another value,
// or if its key is misspelled.
FindingDetails move_prefix_length(const std::string& text, const Json::Value& object,
                                  const std::string& address_key, const std::string& netmask_key);
