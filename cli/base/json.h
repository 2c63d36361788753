#pragma once

// JSON that other programs print, or that this program has written.

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

// Parses one JSON value. False if the text is not valid JSON.
bool parse_json(const std::string& text, Json::Value& value);

// Like capture(), for a program that prints one JSON value; no output counts as null.
std::optional<std::string> capture_json(const std::vector<std::string>& command, Json::Value& value);
