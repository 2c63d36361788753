#include "cli/restore/fields.h"

bool has_field(const Json::Value& object, const char* key) {
  return object.isObject() && object.isMember(key);
}

const Json::Value& field(const Json::Value& object, const char* key) {
  return has_field(object, key) ? object[key] : Json::Value::nullSingleton();
}

std::string text_field(const Json::Value& object, const char* key) {
  const Json::Value& value = field(object, key);
  return value.isArray() || value.isObject() ? "" : value.asString();
}

const Json::Value& array_field(const Json::Value& object, const char* key) {
  static const Json::Value empty(Json::arrayValue);
  const Json::Value& value = field(object, key);
  return value.isArray() ? value : empty;
}
