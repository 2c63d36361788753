#pragma once

// The platform of this program: the configuration under examination in place of the installed one.

#include <json/json.h>

// What cmd_get_value_json("network") gives from now on, until the value ends.
void set_configuration(const Json::Value& root);
