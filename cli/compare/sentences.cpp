#include "cli/compare/sentences.h"

void Sentences::say(const std::string& subject, const std::string& fact, const std::string& sentence) {
  explained_.insert({subject, fact});
  if (!sentence.empty()) sentences_.push_back(sentence);
}

void Sentences::compare_values(const std::string& subject, const std::string& fact, const std::string& before,
                               const std::string& after) {
  if (before == after) return;
  if (before.empty()) {
    say(subject, fact, subject + " gets the " + fact + " " + after);
  } else if (after.empty()) {
    say(subject, fact, subject + " loses the " + fact + " " + before);
  } else {
    say(subject, fact, subject + " changes its " + fact + " from " + before + " to " + after);
  }
}
