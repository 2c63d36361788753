#include "text.h"

#include <iconv.h>

#include <algorithm>
#include <sstream>

std::optional<std::u32string> decode_utf8(const std::string& text) {
  static const iconv_t conversion = iconv_open("UTF-32LE", "UTF-8");
  std::string copy = text;
  std::u32string points(text.size(), U'\0');
  char* in = copy.data();
  char* out = reinterpret_cast<char*>(points.data());
  std::size_t in_left = copy.size();
  std::size_t out_left = points.size() * sizeof(char32_t);
  iconv(conversion, nullptr, nullptr, nullptr, nullptr);
  if (iconv(conversion, &in, &in_left, &out, &out_left) == static_cast<std::size_t>(-1)) return std::nullopt;
  points.resize(points.size() - out_left / sizeof(char32_t));
  return points;
}

static bool is_control(char32_t point) {
  return point != U'\t' && (point < 0x20 || (point >= 0x7f && point < 0xa0));
}

bool is_clean(const std::string& text) {
  const auto points = decode_utf8(text);
  return points && std::none_of(points->begin(), points->end(), is_control);
}

// Whether the character is a bidirectional control, a line separator, or invisible.
static bool is_hidden(char32_t point) {
  return point == 0xad || point == 0x61c || (point >= 0x200b && point <= 0x200f) ||
         (point >= 0x2028 && point <= 0x202e) || (point >= 0x2060 && point <= 0x206f) || point == 0xfeff;
}

bool is_safe_on_terminal(const std::string& text) {
  const auto points = decode_utf8(text);
  return points && std::none_of(points->begin(), points->end(),
                                [](char32_t point) { return is_control(point) || is_hidden(point); });
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);)
    lines.push_back(line);
  return lines;
}

std::string without_color(const std::string& text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text.compare(i, 2, "\033[") == 0) {
      i = std::min(text.find('m', i), text.size());
    } else {
      plain += text[i];
    }
  }
  return plain;
}
