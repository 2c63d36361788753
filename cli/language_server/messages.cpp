#include "cli/language_server/messages.h"

#include <cstddef>
#include <cstdlib>
#include <utility>

// A configuration has 4 MB at most, and an escape sequence may take six bytes for each of them.
constexpr unsigned long kMaxSize = 32'000'000;

std::optional<std::string> read_message(std::istream& input) {
  const std::string kLength = "Content-Length: ";
  unsigned long size = 0;
  for (std::string line; std::getline(input, line) && line != "\r";)
    if (line.rfind(kLength, 0) == 0) size = std::strtoul(line.c_str() + kLength.size(), nullptr, 10);
  if (!input || size == 0 || size > kMaxSize) return std::nullopt;
  std::string body(size, '\0');
  if (!input.read(body.data(), static_cast<std::streamsize>(size))) return std::nullopt;
  return body;
}

void write_message(std::ostream& output, const Json::Value& message) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  const std::string body = Json::writeString(builder, message);
  output << "Content-Length: " << body.size() << "\r\n\r\n" << body << std::flush;
}

static Json::Value new_message() {
  Json::Value message(Json::objectValue);
  message["jsonrpc"] = "2.0";
  return message;
}

Json::Value response(const Json::Value& id, Json::Value result) {
  Json::Value message = new_message();
  message["id"] = id;
  message["result"] = std::move(result);
  return message;
}

Json::Value error_response(const Json::Value& id, ErrorCode code, const std::string& message) {
  Json::Value answer = new_message();
  answer["id"] = id;
  answer["error"]["code"] = static_cast<int>(code);
  answer["error"]["message"] = message;
  return answer;
}

Json::Value notification(const std::string& method, Json::Value parameters) {
  Json::Value message = new_message();
  message["method"] = method;
  message["params"] = std::move(parameters);
  return message;
}
