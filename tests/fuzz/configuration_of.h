#pragma once

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "generator.h"

// Returns the configuration of an input: the input itself if it begins like JSON, otherwise one over all
// paths, derived from its bytes.
inline std::string configuration_of(const std::uint8_t* data, std::size_t size) {
  std::string text(data, data + size);
  if (!text.empty() && text.front() == '{') return text;
  Generator generator(data, size);
  return Json::writeString(Json::StreamWriterBuilder(), generator.value("@network"));
}
