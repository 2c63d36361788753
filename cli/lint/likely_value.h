#pragma once

// Guesses what a value that its schema does not allow was probably meant to be.

#include <json/json.h>

#include <optional>
#include <string>

// An allowed value with the same meaning: 24 for "24", ["eth0", "eth1"] for "eth0,eth1", true for "yes".
// Nothing if there is none.
std::optional<Json::Value> meant_value(const Json::Value& value, const Json::Value& schema);

// The word that a string was probably meant to be: the nearest or, failing that, the only one that contains
// the string or is contained in it. Nothing if there is none.
std::optional<std::string> meant_word(const std::string& text, const Json::Value& words);

// A value that the schema allows: its own example, or an object or array of examples.
Json::Value example_of(const Json::Value& schema);

// Returns meant_value() or, if there is none, example_of() the schema.
Json::Value likely_value(const Json::Value& value, const Json::Value& schema);
