#pragma once

// Random configurations and file contents. The same seed makes the same ones everywhere.

#include <json/json.h>

#include <random>
#include <string>
#include <vector>

class Generator {
 public:
  explicit Generator(unsigned seed);

  // A value of the named shape, with more or less of it missing, of the wrong type or rubbish.
  Json::Value value(const std::string& shape_name);

  // True once in `n`.
  bool one_in(unsigned n);

  // What a one-value file may hold: often `plausible`, else something empty, long or binary.
  std::string file_content(const std::string& plausible);

 private:
  template <typename T>
  const T& pick(const std::vector<T>& choices);

  Json::Value value_of(const Json::Value& shape);
  Json::Value leaf(const std::string& kind);
  Json::Value rubbish(unsigned depth);
  std::string odd_text();
  std::string bytes(std::size_t size);

  std::mt19937 random_;
  // One in so many values is rubbish or missing; the same throughout a configuration, so that some are sound.
  unsigned disorder_;
};
