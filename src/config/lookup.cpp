#include "config/lookup.h"

#include "platform/libcmd.h"

bool is_true(const Json::Value& object, const std::string& path) {
  bool value = false;
  return config_get_bool(object, &value, path) && value;
}

bool is_enabled(const Json::Value& object) {
  return is_true(object, "enable");
}

bool is_static_route_of(const Json::Value& route, const std::string& ifname) {
  std::string route_ifname;
  return is_enabled(route) && config_get_string(route, route_ifname, "interface") && route_ifname == ifname;
}

bool looks_like_address(const std::string& text) {
  return text.size() > 6;
}

std::string text_of(const Json::Value& value) {
  return value.isString() ? value.asString() : std::string();
}

Json::Value array_at(const Json::Value& object, const std::string& path) {
  Json::Value array(Json::arrayValue);
  config_get_array(object, array, path);
  return array;
}
