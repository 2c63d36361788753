#include "cli/graph/annotations.h"

#include <algorithm>
#include <cstddef>

namespace {

// A piece of the configuration's text, and the part that shows it.
struct Span {
  std::ptrdiff_t begin;
  std::ptrdiff_t end;
  Part* part;
};

}  // namespace

// The inner parts before the outer ones.
static void collect_spans(Part& part, std::vector<Span>& spans) {
  for (Part& inner : part.parts)
    collect_spans(inner, spans);
  for (const Json::Value* place : part.places)
    spans.push_back({place->getOffsetStart(), place->getOffsetLimit(), &part});
}

static bool goes_before(const Span& a, const Span& b) {
  return a.begin != b.begin ? a.begin < b.begin : a.end > b.end;
}

void mark(const std::vector<Finding>& findings, Part& picture) {
  std::vector<Span> spans;
  collect_spans(picture, spans);
  std::stable_sort(spans.begin(), spans.end(), goes_before);
  std::vector<const Span*> open;  // around the current offset, the innermost last
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
    Part& part = open.empty() ? picture : *open.back()->part;
    part.findings.push_back(finding);
  }
}
