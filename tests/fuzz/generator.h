#pragma once

// Generates configurations and file contents from the bytes of an input: each choice consumes a byte. Choices
// after the last byte are pseudorandom; the first four bytes are their seed. So a short input yields a
// complete configuration, and the same input always yields the same one.

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

class Generator {
 public:
  // The bytes must outlive the generator. If `is_sound`, no value is missing, of a wrong type or garbage.
  Generator(const std::uint8_t* bytes, std::size_t size, bool is_sound = false);

  // Returns a value of the named shape of shape.py. Unless the generator is sound, some values in it are
  // missing, of a wrong type or garbage.
  Json::Value value(const std::string& shape_name);

  // Returns a number below `n`, which is from 1 to 65536.
  unsigned below(unsigned n);

  // Returns true with a probability of 1 in `n`.
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
  // One in this many values is garbage or missing; 0 if none is. Differs between inputs, so that some
  // configurations are valid.
  unsigned disorder_ = 0;
};

// Returns the shapes of shape.py, by name.
const Json::Value& shapes();
