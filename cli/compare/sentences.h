#pragma once

// The sentences of a change summary. Each goes with its topics, and a line counts as explained by these
// alone.

#include <set>
#include <string>
#include <vector>

#include "cli/compare/facts.h"

class Sentences {
 public:
  // An empty sentence explains a topic that another one has described.
  void say(const std::string& subject, const std::string& fact, const std::string& sentence);

  // For a consequence, which explains no line.
  void add(const std::string& sentence) {
    sentences_.push_back(sentence);
  }

  // One thing that a subject has, had, or has another of.
  void compare_values(const std::string& subject, const std::string& fact, const std::string& before,
                      const std::string& after);

  bool explains(const Topic& topic) const {
    return explained_.count(topic) != 0;
  }

  const std::vector<std::string>& list() const {
    return sentences_;
  }

 private:
  std::set<Topic> explained_;
  std::vector<std::string> sentences_;
};

// The value of a key, or an empty one.
template <typename Map>
typename Map::mapped_type value_at(const Map& map, const std::string& key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : typename Map::mapped_type();
}
