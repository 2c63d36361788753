#include "cli/graph/shorten.h"

#include <algorithm>
#include <iterator>
#include <string>

// The maximum length of a list that is not shortened.
constexpr std::size_t kShortList = 8;
// The number of items that a longer list keeps from its beginning, and of others with findings that it keeps.
constexpr std::size_t kShown = 4;

bool is_long(std::size_t count) {
  return count > kShortList;
}

static bool has_findings(const Node& node) {
  return !node.findings.empty() || std::any_of(node.children.begin(), node.children.end(), has_findings);
}

static Node rest_of(Node::Kind kind, std::size_t count, std::size_t marked) {
  std::string text = "and " + std::to_string(count) + " more, not shown";
  if (marked > 0) text += ", " + std::to_string(marked) + " of them with findings";
  return {kind, "", std::move(text)};
}

// Moves the list, shortened if it is long, to the end of `shown`. `kind` is the kind of the node that shows
// how many items are left out.
static void move_shortened(std::vector<Node>::iterator begin, std::vector<Node>::iterator end,
                           Node::Kind kind, std::vector<Node>& shown) {
  if (!is_long(static_cast<std::size_t>(end - begin))) {
    std::move(begin, end, std::back_inserter(shown));
    return;
  }
  const auto rest = begin + kShown;
  std::move(begin, rest, std::back_inserter(shown));
  std::size_t shown_marked = 0;
  std::size_t marked = 0;
  for (auto node = rest; node != end; ++node) {
    if (!has_findings(*node)) continue;
    if (shown_marked < kShown) {
      shown.push_back(std::move(*node));
      ++shown_marked;
    } else {
      ++marked;
    }
  }
  const std::size_t left_out = static_cast<std::size_t>(end - rest) - shown_marked;
  if (left_out > 0) shown.push_back(rest_of(kind, left_out, marked));
}

static void shorten_findings(Node& node) {
  if (!is_long(node.findings.size())) return;
  const std::size_t count = node.findings.size() - kShown;
  node.findings.resize(kShown);
  node.children.insert(node.children.begin(),
                       {Node::Kind::kLine, "", "and " + std::to_string(count) + " more findings, not shown"});
}

void summarize(Node& diagram) {
  std::vector<Node> shown;
  const auto boxes = std::find_if(diagram.children.begin(), diagram.children.end(),
                                  [](const Node& node) { return node.is_box(); });
  move_shortened(diagram.children.begin(), boxes, Node::Kind::kLine, shown);
  move_shortened(boxes, diagram.children.end(), Node::Kind::kAside, shown);
  diagram.children = std::move(shown);
  for (Node& node : diagram.children)
    summarize(node);
  shorten_findings(diagram);
}
