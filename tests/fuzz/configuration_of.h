#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "generator.h"

// Returns the configuration of an input: the input itself if it begins with a brace, otherwise one that may
// have any path of the schema, generated from the bytes.
inline std::string configuration_of(const std::uint8_t* data, std::size_t size) {
  std::string text(data, data + size);
  if (!text.empty() && text.front() == '{') return text;
  Generator generator(data, size);
  return Json::writeString(Json::StreamWriterBuilder(), generator.value("@network"));
}
