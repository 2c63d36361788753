#include "generator.h"

#include <algorithm>
#include <climits>
#include <fstream>
#include <map>

using Values = std::vector<Json::Value>;

static const std::map<std::string, Values>& kinds() {
  static const std::map<std::string, Values> kinds = {
      {"bool", {true, true, true, false}},
      {"int", {0, 1, -1, 7, 100, 1400, 1500, 65535, INT_MAX, INT_MIN}},
      {"prefix", {0, 8, 24, 25, 30, 31, 32, 33, -1, INT_MAX, INT_MIN}},
      {"vid", {1, 10, 100, 4094, 0, 65536, INT_MAX, -1, INT_MIN}},
      {"address",
       {"192.168.1.1", "192.168.1.77", "10.20.30.41", "0.0.0.0", "255.255.255.255", "169.254.0.1", "1.1.1",
        "", "dynamic", "host.example", "fe80::1", "10.0.0.0/8, 192.168.0.0/16,,"}},
      {"interface",
       {"eth0", "eth1", "wlan0", "wlan1", "wwan0", "br-lan", "gre-tun1", "eth0.100", "veth0", ""}},
      {"mode", {"router", "router", "pass-through", "pass-through-auto", "Router", ""}},
      {"protocol", {"static", "static", "dhcp_client", ""}},
      {"source", {"isp", "static", ""}},
      {"text", {"a name", "3600", "2m", "02:00:5e:00:00:20", ""}},
      {"class", {"EF", "AF11", "af11", "CS0", ""}},
  };
  return kinds;
}

const Json::Value& shapes() {
  static const Json::Value shapes = [] {
    Json::Value parsed;
    std::ifstream(SHAPE_FILE) >> parsed;
    return parsed;
  }();
  return shapes;
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
  // The low bits of this generator are the poor ones.
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
    return name[0] == '@' ? value(name) : leaf(name);
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

Json::Value Generator::leaf(const std::string& kind) {
  return pick(kinds().at(kind));
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
      // About as long as there is room for.
      return std::string(below(20), '1') + "\n";
    case 2:
      return bytes(below(40));
    case 3:
      return std::string(70000, '1');
    default:
      return odd_text();
  }
}
