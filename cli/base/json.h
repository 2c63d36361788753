#pragma once

// JSON that other programs print, or that this program has written.

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Parses one JSON value. False if the text is not valid JSON.
bool parse_json(const std::string& text, Json::Value& value);

// The value as Json::writeString writes it as an element of a list in a larger text: each line begins with so
// many tabs, and there is no line end behind it.
std::string element_text(const Json::Value& value, std::size_t depth);

// The text or the integer of an object's member; empty or 0 if it has none, or one of another type.
std::string text_at(const Json::Value& object, const char* key);
std::int64_t number_at(const Json::Value& object, const char* key);

// Like capture(), for a program that prints one JSON value; no output counts as null.
std::optional<std::string> capture_json(const std::vector<std::string>& command, Json::Value& value);
