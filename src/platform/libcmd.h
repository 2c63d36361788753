#pragma once

// The device's configuration and command library. No function of the device may throw.

#include <json/json.h>

#include <string>

// Fetches the configuration object `name` ("network", or a dotted path below such a name) into `value`.
// Returns 0 on success; anything else is a failure, and `value` is then not used.
int cmd_get_value_json(const std::string& name, Json::Value& value);

// The accessors resolve a dotted path below `object`. They return true when the path exists and holds the
// asked type, and only then write the out-value: set the default before the call. Any other type of `object`
// than an object has no paths.
bool config_get_bool(const Json::Value& object, bool* out, const std::string& path);
bool config_get_int(const Json::Value& object, int* out, const std::string& path);
bool config_get_string(const Json::Value& object, std::string& out, const std::string& path);
bool config_get_object(const Json::Value& object, Json::Value& out, const std::string& path);
bool config_get_array(const Json::Value& object, Json::Value& out, const std::string& path);
bool config_path_exists(const Json::Value& object, Json::ValueType type, const std::string& path);

// Stores in `index` the position of the action word in `argv`, less than `argc`, and returns 0; non-zero when
// it is missing.
int get_cmd_command_action_index(int argc, char* argv[], int* index);

// The letters a to z become A to Z.
std::string return_input_string_as_all_uppercase(std::string text);
