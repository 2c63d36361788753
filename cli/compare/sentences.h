#pragma once

// The sentences of a change summary, and the topics that they explain. A changed line counts as explained
// only if one of its topics is among them.

#include <set>
#include <string>
#include <vector>

#include "cli/compare/facts.h"

class Sentences {
 public:
  // Adds a sentence and marks its topic as explained. An empty sentence only marks a topic that another
  // sentence has described.
  void say(const std::string& subject, const std::string& fact, const std::string& sentence);

  // Adds a sentence about a consequence, which does not explain any line.
  void add(const std::string& sentence) {
    sentences_.push_back(sentence);
  }

  // Adds a sentence if a value is new (`before` is empty), removed (`after` is empty) or changed.
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

// The value of a key, or a default-constructed value if the key is missing.
template <typename Map>
typename Map::mapped_type value_at(const Map& map, const std::string& key) {
  const auto found = map.find(key);
  return found != map.end() ? found->second : typename Map::mapped_type();
}
