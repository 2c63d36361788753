#include "cli/base/json.h"

#include <memory>

#include "cli/base/subprocess.h"

bool parse_json(const std::string& text, Json::Value& value) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  return reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
}

std::string element_text(const Json::Value& value, std::size_t depth) {
  const std::string indentation(depth, '\t');
  std::string text = indentation;
  // Newlines within strings are escaped.
  for (const char c : Json::writeString(Json::StreamWriterBuilder(), value)) {
    text += c;
    if (c == '\n') text += indentation;
  }
  return text;
}

std::string text_at(const Json::Value& object, const char* key) {
  const Json::Value& value = object[key];
  return value.isString() ? value.asString() : "";
}

std::int64_t integer_at(const Json::Value& object, const char* key) {
  const Json::Value& value = object[key];
  return value.isInt64() ? value.asInt64() : 0;
}

std::optional<std::string> capture_json(const std::vector<std::string>& command, Json::Value& value) {
  std::string output;
  if (auto error = capture(command, output)) return error;
  value = Json::Value();
  // `ip` prints nothing if the list is empty.
  if (output.find_first_not_of(" \n") == std::string::npos || parse_json(output, value)) return std::nullopt;
  return command.front() + ": invalid JSON output";
}
