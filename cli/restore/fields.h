#pragma once

// Reads members of JSON objects that other programs have written.

#include <json/json.h>

#include <string>

// A string, number or boolean as a string; empty if the member is missing, an array or an object.
std::string text_field(const Json::Value& object, const char* key);

// Whether the value is an object with this member.
bool has_field(const Json::Value& object, const char* key);

// The member; a null value if it is missing.
const Json::Value& field(const Json::Value& object, const char* key);

// The member if it is an array; otherwise an empty array.
const Json::Value& array_field(const Json::Value& object, const char* key);
