#include "platform/libcmd.h"

int cmd_get_value_json(const std::string&, Json::Value&) {
  return -1;
}

bool config_get_bool(const Json::Value&, bool*, const std::string&) {
  return false;
}

bool config_get_int(const Json::Value&, int*, const std::string&) {
  return false;
}

bool config_get_string(const Json::Value&, std::string&, const std::string&) {
  return false;
}

bool config_get_array(const Json::Value&, Json::Value&, const std::string&) {
  return false;
}

bool config_path_exists(const Json::Value&, Json::ValueType, const std::string&) {
  return false;
}

int get_cmd_command_action_index(int, char*[], int*) {
  return -1;
}

std::string return_input_string_as_all_uppercase(std::string text) {
  return text;
}
