#include "cli/compare/change_summary.h"

#include <algorithm>

#include "cli/compare/gateway_changes.h"
#include "cli/compare/interface_changes.h"
#include "cli/compare/sentences.h"

// The number of changed lines that no sentence explains.
static std::size_t count_other_lines(const Facts& before, const Facts& after, const ChangedFile& file,
                                     const Sentences& sentences) {
  std::vector<const std::set<Topic>*> lines;
  for (const std::size_t number : file.removed)
    lines.push_back(&before.topics.at(file.path).at(number));
  for (const std::size_t number : file.added)
    lines.push_back(&after.topics.at(file.path).at(number));
  const auto is_explained = [&sentences](const std::set<Topic>* topics) {
    return std::any_of(topics->begin(), topics->end(),
                       [&sentences](const Topic& topic) { return sentences.explains(topic); });
  };
  const bool explains_layout = std::any_of(lines.begin(), lines.end(), is_explained);
  const Topic layout = {file.path, what::kLayout};
  return static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const auto* topics) {
    return !is_explained(topics) && !(explains_layout && topics->count(layout) != 0);
  }));
}

// "and 3 more lines in 20-eth0.network"
static std::string count_in_words(std::size_t count, const std::string& path, bool is_first) {
  const std::string where = path == kCommands ? "the commands" : path.substr(path.find_last_of('/') + 1);
  const std::string lines = is_first ? (count == 1 ? " line differs" : " lines differ")
                                     : (count == 1 ? " more line" : " more lines");
  return (is_first ? "" : "and ") + std::to_string(count) + lines + " in " + where;
}

std::vector<std::string> change_summary(const Facts& before, const Facts& after,
                                        const std::vector<ChangedFile>& files, Scope scope) {
  Sentences sentences;
  describe_interfaces(before, after, sentences);
  describe_gateway(before, after, sentences);
  if (scope == Scope::kGateway) describe_consequences(before, after, sentences);
  std::vector<std::string> result = sentences.list();
  const bool is_first = result.empty();
  for (const ChangedFile& file : files) {
    const std::size_t count = count_other_lines(before, after, file, sentences);
    if (count > 0) result.push_back(count_in_words(count, file.path, is_first));
  }
  return result;
}
