#pragma once

// Members of JSON objects that other programs have written: a member of another type counts as missing.

#include <json/json.h>

#include <string>

// A string, a number or a truth value as text; empty if there is none.
std::string text_field(const Json::Value& object, const char* key);

// False if it is missing.
bool has_field(const Json::Value& object, const char* key);

// The member itself; null if it is missing.
const Json::Value& field(const Json::Value& object, const char* key);

// An array; empty if it is missing.
const Json::Value& array_field(const Json::Value& object, const char* key);
