#include "cli/graph/annotations.h"

#include <algorithm>
#include <cstddef>

namespace {

// A range of the configuration's text, and the node that shows it.
struct Span {
  std::ptrdiff_t begin;
  std::ptrdiff_t end;
  Node* node;
};

}  // namespace

// Collects the spans of inner nodes before those of outer nodes.
static void collect_spans(Node& node, std::vector<Span>& spans) {
  for (Node& inner : node.children)
    collect_spans(inner, spans);
  for (const Json::Value* location : node.locations)
    spans.push_back({location->getOffsetStart(), location->getOffsetLimit(), &node});
}

static bool goes_before(const Span& a, const Span& b) {
  return a.begin != b.begin ? a.begin < b.begin : a.end > b.end;
}

void mark(const std::vector<Finding>& findings, Node& diagram) {
  std::vector<Span> spans;
  collect_spans(diagram, spans);
  std::stable_sort(spans.begin(), spans.end(), goes_before);
  std::vector<const Span*> open;  // spans around the current offset, the innermost last
  auto next = spans.begin();
  const auto close_before = [&open](std::ptrdiff_t offset) {
    while (!open.empty() && open.back()->end <= offset)
      open.pop_back();
  };
  for (const Finding& finding : findings) {
    for (; next != spans.end() && next->begin <= finding.range.begin; ++next) {
      close_before(next->begin);
      open.push_back(&*next);
    }
    close_before(finding.range.begin);
    Node& node = open.empty() ? diagram : *open.back()->node;
    node.findings.push_back(finding);
  }
}
