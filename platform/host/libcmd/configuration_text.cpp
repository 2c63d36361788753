#include "configuration_text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <sstream>

// 4 MB, many times the size of a large site. A run's memory is about thirty times the size of the file.
constexpr std::size_t kMaxSize = 4'000'000;

std::optional<std::string> read_configuration(std::FILE* file, std::string& text) {
  char block[4096];
  while (text.size() <= kMaxSize) {
    const std::size_t size = std::fread(block, 1, sizeof block, file);
    if (size == 0) break;
    text.append(block, size);
  }
  if (std::ferror(file) != 0) return std::strerror(errno);
  if (text.size() > kMaxSize) return "the configuration is larger than 4 MB";
  return std::nullopt;
}

// Converts the first error of the parser, "* Line 3, Column 5\n  Reason\n".
static ParseError first_error(const std::string& errors) {
  std::istringstream first(errors);
  std::string word;
  char comma = 0;
  ParseError parse_error;
  first >> word >> word >> parse_error.position.line >> comma >> word >> parse_error.position.column >>
      std::ws;
  std::getline(first, parse_error.reason);
  return parse_error;
}

std::optional<ParseError> parse_configuration(const std::string& text, Json::Value& root) {
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::string errors;
  try {
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
      return first_error(errors);
    }
  } catch (const std::exception& error) {
    // The parser throws on too deep nesting.
    return ParseError{{}, error.what()};
  }
  if (!root.isObject()) return ParseError{{}, "the configuration is not an object"};
  // The parser treats a NUL character as the end.
  const std::size_t nul = text.find('\0', static_cast<std::size_t>(root.getOffsetLimit()));
  if (nul != std::string::npos)
    return ParseError{position_of(text, static_cast<std::ptrdiff_t>(nul)),
                      "a NUL character after the JSON value"};
  return std::nullopt;
}

Position position_of(const std::string& text, std::ptrdiff_t offset) {
  const auto value = text.begin() + offset;
  const auto line_begin = std::find(std::make_reverse_iterator(value), text.rend(), '\n').base();
  return {static_cast<int>(std::count(text.begin(), value, '\n')) + 1,
          static_cast<int>(value - line_begin) + 1};
}
