#pragma once

// What a value was probably meant to be that its schema does not allow.

#include <json/json.h>

#include <optional>
#include <string>

// An allowed value that says the same: 24 for "24", ["eth0", "eth1"] for "eth0,eth1", true for "yes". Nothing
// where there is none.
std::optional<Json::Value> meant_value(const Json::Value& value, const Json::Value& schema);

// The one of these words that a string was probably to be: the nearest or, failing that, the only one that
// contains the string or is contained in it.
std::optional<std::string> meant_word(const std::string& text, const Json::Value& words);

// A value that the schema allows: an example of the schema's own, or an object or array of such.
Json::Value example_of(const Json::Value& schema);

// The former or, failing that, the latter.
Json::Value likely_value(const Json::Value& value, const Json::Value& schema);
