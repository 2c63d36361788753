#pragma once

// Generates configurations and file contents from the bytes of an input: each choice consumes a byte. The
// first four bytes also seed the choices after the last byte, so that a short input yields a complete
// configuration, and the same input always the same one.

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

class Generator {
 public:
  // The bytes must outlive the generator. With `is_sound`, no value is missing, of the wrong type or garbage.
  Generator(const std::uint8_t* bytes, std::size_t size, bool is_sound = false);

  // Returns a value of the named shape of shape.py, with more or less of it missing, of the wrong type or
  // garbage.
  Json::Value value(const std::string& shape_name);

  // Returns a number below `n`, which is from 1 to 65536.
  unsigned below(unsigned n);

  // Returns true once in `n` calls.
  bool one_in(unsigned n);

  // Returns the content of a one-value file: often `plausible`, otherwise empty, long or binary.
  std::string file_content(const std::string& plausible);

 private:
  template <typename T>
  const T& pick(const std::vector<T>& choices);

  unsigned next_byte();
  bool is_disorderly();
  Json::Value value_of(const Json::Value& shape);
  Json::Value rubbish(unsigned depth);
  std::string odd_text();
  std::string bytes(std::size_t size);

  const std::uint8_t* next_;
  const std::uint8_t* end_;
  std::minstd_rand beyond_end_;
  // One in this many values is garbage or missing, 0 for none; constant in a configuration, so that some are
  // valid.
  unsigned disorder_ = 0;
};

// The shapes, by name.
const Json::Value& shapes();
