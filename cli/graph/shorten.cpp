#include "cli/graph/shorten.h"

#include <algorithm>
#include <iterator>
#include <string>

// A list of so many stays whole.
constexpr std::size_t kShortList = 8;
// Of a longer one, as many stay from its beginning, and as many of the rest that have findings.
constexpr std::size_t kShown = 4;

static bool has_findings(const Part& part) {
  return !part.findings.empty() || std::any_of(part.parts.begin(), part.parts.end(), has_findings);
}

static Part rest_of(Part::Kind kind, std::size_t count, std::size_t marked) {
  std::string text = "and " + std::to_string(count) + " more, not shown";
  if (marked > 0) text += ", " + std::to_string(marked) + " of them with findings";
  return {kind, "", std::move(text)};
}

// Moves the list, or what stays of it, to the end of `shown`; `kind` is that of what stands for the others.
static void move_shortened(std::vector<Part>::iterator begin, std::vector<Part>::iterator end,
                           Part::Kind kind, std::vector<Part>& shown) {
  if (end - begin <= static_cast<std::ptrdiff_t>(kShortList)) {
    std::move(begin, end, std::back_inserter(shown));
    return;
  }
  const auto rest = begin + kShown;
  std::move(begin, rest, std::back_inserter(shown));
  std::size_t shown_marked = 0;
  std::size_t marked = 0;
  for (auto part = rest; part != end; ++part) {
    if (!has_findings(*part)) continue;
    if (shown_marked < kShown) {
      shown.push_back(std::move(*part));
      ++shown_marked;
    } else {
      ++marked;
    }
  }
  const std::size_t left_out = static_cast<std::size_t>(end - rest) - shown_marked;
  if (left_out > 0) shown.push_back(rest_of(kind, left_out, marked));
}

static void shorten_findings(Part& part) {
  if (part.findings.size() <= kShortList) return;
  const std::size_t count = part.findings.size() - kShown;
  part.findings.resize(kShown);
  part.parts.insert(part.parts.begin(),
                    {Part::Kind::kLine, "", "and " + std::to_string(count) + " more findings, not shown"});
}

void summarize(Part& picture) {
  std::vector<Part> shown;
  const auto boxes = std::find_if(picture.parts.begin(), picture.parts.end(),
                                  [](const Part& part) { return part.is_box(); });
  move_shortened(picture.parts.begin(), boxes, Part::Kind::kLine, shown);
  move_shortened(boxes, picture.parts.end(), Part::Kind::kAside, shown);
  picture.parts = std::move(shown);
  for (Part& part : picture.parts)
    summarize(part);
  shorten_findings(picture);
}
