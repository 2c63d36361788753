#include "generator.h"

#include <algorithm>
#include <climits>
#include <fstream>

static const Json::Value& shape_file() {
  static const Json::Value file = [] {
    Json::Value parsed;
    std::ifstream(SHAPE_FILE) >> parsed;
    return parsed;
  }();
  return file;
}

const Json::Value& shapes() {
  return shape_file()["shapes"];
}

static unsigned seed_of(const std::uint8_t* bytes, std::size_t size) {
  unsigned seed = 0;
  for (std::size_t i = 0; i < std::min<std::size_t>(size, 4); ++i)
    seed = seed << 8 | bytes[i];
  return seed;
}

Generator::Generator(const std::uint8_t* bytes, std::size_t size, bool is_sound)
    : next_(bytes), end_(bytes + size), beyond_end_(seed_of(bytes, size)) {
  if (!is_sound) disorder_ = pick<unsigned>({3, 10, 40, 1000});
}

unsigned Generator::next_byte() {
  // The low bits of this generator are of poor quality.
  return next_ == end_ ? static_cast<unsigned>(beyond_end_() >> 16) & 0xff : *next_++;
}

unsigned Generator::below(unsigned n) {
  unsigned number = next_byte();
  if (n > 256) number = number << 8 | next_byte();
  return number % n;
}

bool Generator::one_in(unsigned n) {
  return below(n) == 0;
}

bool Generator::is_disorderly() {
  return disorder_ != 0 && one_in(disorder_);
}

template <typename T>
const T& Generator::pick(const std::vector<T>& choices) {
  return choices[below(static_cast<unsigned>(choices.size()))];
}

Json::Value Generator::value(const std::string& shape_name) {
  return value_of(shapes()[shape_name]);
}

Json::Value Generator::value_of(const Json::Value& shape) {
  if (is_disorderly()) return rubbish(0);
  if (shape.isString()) {
    const std::string name = shape.asString();
    if (name[0] == '@') return value(name);
    const Json::Value& values = shape_file()["values"][name];
    return values[below(values.size())];
  }
  if (shape.isArray()) {
    Json::Value list(Json::arrayValue);
    for (unsigned count = below(4); count > 0; --count)
      list.append(value_of(shape[0]));
    return list;
  }
  Json::Value object(Json::objectValue);
  for (const std::string& key : shape.getMemberNames()) {
    if (!is_disorderly()) object[key] = value_of(shape[key]);
  }
  return object;
}

Json::Value Generator::rubbish(unsigned depth) {
  switch (below(depth < 4 ? 10 : 8)) {
    case 0:
      return Json::nullValue;
    case 1:
      return one_in(2);
    case 2:
      return pick<Json::Value>({INT_MAX, INT_MIN, 0, -1});
    case 3:
      return pick<Json::Value>(
          {Json::Int64(INT64_MIN), Json::Int64(INT64_C(2147483648)), Json::UInt64(UINT64_MAX)});
    case 4:
      return pick<Json::Value>({0.5, 1e300, -1e-300, 24.0});
    case 5:
      return Json::Value(Json::arrayValue);
    case 6:
      return Json::Value(Json::objectValue);
    case 7:
      return odd_text();
    case 8: {
      Json::Value list(Json::arrayValue);
      for (unsigned count = below(4); count > 0; --count)
        list.append(rubbish(depth + 1));
      return list;
    }
    default: {
      Json::Value object(Json::objectValue);
      for (unsigned count = below(4); count > 0; --count)
        object[pick<std::string>({"enable", "network", "vid", "networks", "ipv4", ""})] = rubbish(depth + 1);
      return object;
    }
  }
}

std::string Generator::odd_text() {
  return pick<std::string>({"", " ", "\n", "%s%n%d", "'; exit 1; '", "../../../run/else", ".", "/", "-1",
                            "true", "999.999.999.999", std::string("10.0\0.0.1", 9), std::string(300, 'x'),
                            std::string(70000, 'x'), bytes(20)});
}

std::string Generator::bytes(std::size_t size) {
  std::string result;
  while (result.size() < size)
    result.push_back(static_cast<char>(next_byte()));
  return result;
}

std::string Generator::file_content(const std::string& plausible) {
  if (!one_in(4)) return plausible + (one_in(4) ? "" : "\n");
  switch (below(5)) {
    case 0:
      return "";
    case 1:
      // Up to and beyond the size of the buffers for such values.
      return std::string(below(20), '1') + "\n";
    case 2:
      return bytes(below(40));
    case 3:
      return std::string(70000, '1');
    default:
      return odd_text();
  }
}
