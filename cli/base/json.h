#pragma once

// Reads JSON from other programs, and formats JSON for output.

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Parses one JSON value. False if the string is not valid JSON.
bool parse_json(const std::string& text, Json::Value& value);

// The value as Json::writeString formats it, for a list in a larger document: each line is indented with
// `depth` tabs, and there is no newline at the end.
std::string element_text(const Json::Value& value, std::size_t depth);

// The string or the integer of an object's member; empty or 0 if the member is missing or has another type.
std::string text_at(const Json::Value& object, const char* key);
std::int64_t integer_at(const Json::Value& object, const char* key);

// Like capture(), for a program that prints one JSON value; no output is read as null.
std::optional<std::string> capture_json(const std::vector<std::string>& command, Json::Value& value);
