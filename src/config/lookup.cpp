#include "config/lookup.h"

#include "platform/libcmd.h"
#include "util/json_path.h"

std::string wired_network_path(std::string_view ifname) {
  return std::string("wired.").append(ifname).append(".network");
}

std::string access_point_network_path(std::string_view ifname) {
  return std::string("wireless.wifi.").append(ifname).append(".ap.network");
}

bool is_true(const Json::Value& object, std::string_view path) {
  bool value = false;
  return config_get_bool(object, &value, std::string(path)) && value;
}

bool is_enabled(const Json::Value& object) {
  return is_true(object, "enable");
}

bool get_static_route_interface(const Json::Value& route, std::string& ifname) {
  return is_enabled(route) && config_get_string(route, ifname, "interface");
}

bool is_static_route_of(const Json::Value& route, const std::string& ifname) {
  std::string route_ifname;
  return get_static_route_interface(route, route_ifname) && route_ifname == ifname;
}

bool looks_like_address(const std::string& text) {
  return text.size() > 6;
}

bool has_text(const Json::Value& value) {
  return value.isConvertibleTo(Json::stringValue);
}

std::string text_of(const Json::Value& value) {
  return has_text(value) ? value.asString() : std::string();
}

std::string name_server_of(const Json::Value& server) {
  std::string text = text_of(server);
  return looks_like_address(text) ? text : std::string();
}

std::optional<std::string> string_at(const Json::Value& object, std::string_view path) {
  std::string text;
  if (!config_get_string(object, text, std::string(path))) return std::nullopt;
  return text;
}

std::optional<int> number_at(const Json::Value& object, std::string_view path) {
  int number = 0;
  if (!config_get_int(object, &number, std::string(path))) return std::nullopt;
  return number;
}

const Json::Value* object_at(const Json::Value& object, std::string_view path) {
  const Json::Value* value = find_path(object, path);
  return value != nullptr && value->isObject() ? value : nullptr;
}

const Json::Value& array_at(const Json::Value& object, std::string_view path) {
  const Json::Value* value = find_path(object, path);
  return value != nullptr && value->isArray() ? *value : Json::Value::nullSingleton();
}
