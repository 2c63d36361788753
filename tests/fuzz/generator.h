#pragma once

// Configurations and file contents drawn from the bytes of an input: each choice takes the next byte. The
// first four bytes also seed the choices that are made after the last one, so that a short input makes a
// whole configuration, and the same input the same one everywhere.

#include <json/json.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

class Generator {
 public:
  // The bytes must outlive the generator. With `is_sound` nothing is missing, of the wrong type or rubbish.
  Generator(const std::uint8_t* bytes, std::size_t size, bool is_sound = false);

  // A value of the named shape of shape.py, with more or less of it missing, of the wrong
  // type or rubbish.
  Json::Value value(const std::string& shape_name);

  // A number below `n`, which is at least 1 and at most 65536.
  unsigned below(unsigned n);

  // True once in `n`.
  bool one_in(unsigned n);

  // What a one-value file may hold: often `plausible`, else something empty, long or binary.
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
  // One in so many values is rubbish or missing; the same throughout a configuration, so that some are sound.
  // 0 for none.
  unsigned disorder_ = 0;
};

// The shapes, by name.
const Json::Value& shapes();
