#pragma once

// Dotted paths in a JSON tree.

#include <json/json.h>

#include <algorithm>
#include <string_view>

// Returns the value at the dotted `path` below `object`, in place; null if a component is missing.
inline const Json::Value* find_path(const Json::Value& object, std::string_view path) {
  const Json::Value* value = &object;
  std::size_t begin = 0;
  while (true) {
    if (!value->isObject()) return nullptr;
    const std::size_t end = std::min(path.find('.', begin), path.size());
    value = value->find(path.data() + begin, path.data() + end);
    if (value == nullptr || end == path.size()) return value;
    begin = end + 1;
  }
}
