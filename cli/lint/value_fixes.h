#pragma once

// What a value was meant to be, where it says so in another form.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "cli/lint/finding.h"

// The text in JSON of what a value that its schema does not allow means: "24" is 24, "255.255.255.0" is a
// prefix length of 24, "yes" is true, "Router" is "router". Nothing if it means nothing that is allowed.
std::optional<std::string> allowed_literal(const Json::Value& value, const Json::Value& schema);

// The prefix length that a number or a string stands for: 24, "24", "/24", "255.255.255.0". Nothing for any
// other value.
std::optional<int> prefix_length_of(const Json::Value& value);

// The details of a finding whose fix is another string.
FindingDetails write_string_instead(const Json::Value& value, const std::string& text);

// The details of a finding about an address with a prefix length, such as "192.168.1.1/24" at the member
// `address_key` of an object. The fix moves the prefix length to the member `netmask_key`, or removes it if
// it is there already. Without a fix for any other address, and where the netmask is another one or its key
// is misspelt.
FindingDetails move_prefix_length(const std::string& text, const Json::Value& object,
                                  const std::string& address_key, const std::string& netmask_key);
