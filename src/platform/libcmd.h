#pragma once

// The device's configuration and command library. Its functions must not throw.

#include <json/json.h>

#include <string>

// Fetches the configuration object `name` ("network", or a dotted path below such a name) into `value`.
// Returns 0 on success; after a failure, `value` is not used.
int cmd_get_value_json(const std::string& name, Json::Value& value);

// The accessors resolve a dotted path below `object`. They return true if the path exists and has a value of
// the requested type, and write the out-value only then: set the default before the call. An `object` of
// another type than an object has no paths.
bool config_get_bool(const Json::Value& object, bool* out, const std::string& path);
bool config_get_int(const Json::Value& object, int* out, const std::string& path);
bool config_get_string(const Json::Value& object, std::string& out, const std::string& path);
bool config_get_object(const Json::Value& object, Json::Value& out, const std::string& path);
bool config_get_array(const Json::Value& object, Json::Value& out, const std::string& path);
bool config_path_exists(const Json::Value& object, Json::ValueType type, const std::string& path);

// Stores the position of the action word in `argv`, less than `argc`, in `index` and returns 0; returns
// non-zero if there is none.
int get_cmd_command_action_index(int argc, char* argv[], int* index);

// Converts the letters a to z to A to Z.
std::string return_input_string_as_all_uppercase(std::string text);
