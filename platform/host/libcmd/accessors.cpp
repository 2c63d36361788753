#include <string>

#include "platform/libcmd.h"
#include "util/json_path.h"

static const Json::Value* find_typed(const Json::Value& object, Json::ValueType type,
                                     const std::string& path) {
  const Json::Value* value = find_path(object, path);
  return value != nullptr && value->type() == type ? value : nullptr;
}

bool config_get_bool(const Json::Value& object, bool* out, const std::string& path) {
  const Json::Value* value = find_typed(object, Json::booleanValue, path);
  if (value == nullptr) return false;
  *out = value->asBool();
  return true;
}

bool config_get_int(const Json::Value& object, int* out, const std::string& path) {
  const Json::Value* value = find_path(object, path);
  if (value == nullptr || !value->isInt()) return false;
  *out = value->asInt();
  return true;
}

bool config_get_string(const Json::Value& object, std::string& out, const std::string& path) {
  const Json::Value* value = find_typed(object, Json::stringValue, path);
  if (value == nullptr) return false;
  out = value->asString();
  return true;
}

bool config_get_object(const Json::Value& object, Json::Value& out, const std::string& path) {
  const Json::Value* value = find_typed(object, Json::objectValue, path);
  if (value == nullptr) return false;
  // A copy first: `out` may be the object that is being read.
  out = Json::Value(*value);
  return true;
}

bool config_get_array(const Json::Value& object, Json::Value& out, const std::string& path) {
  const Json::Value* value = find_typed(object, Json::arrayValue, path);
  if (value == nullptr) return false;
  out = Json::Value(*value);
  return true;
}

bool config_path_exists(const Json::Value& object, Json::ValueType type, const std::string& path) {
  return find_typed(object, type, path) != nullptr;
}
