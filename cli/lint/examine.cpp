#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "cli/lint/repair.h"
#include "cli/lint/rules.h"

namespace {

// The order in which rules judge a location: a finding of one rank excludes those of later ranks there.
enum Rank {
  kRefusedByPlatform,
  // A string or a key with deceptive characters: the cause of any other finding there.
  kDeceptive,
  // A value that cannot be read. Findings that only follow from it are dropped.
  kUnreadable,
  kOrdinary,
  // General rules: a specific rule about the same number or object has a better message.
  kOfAnything,
  // A rule about the configuration as a whole, applied only if no other finding explains it.
  kWhole,
};

constexpr char kTextRefused[] = "text-refused";
constexpr char kDoubtfulKey[] = "doubtful-key";
constexpr char kEnableMissing[] = "enable-missing";
constexpr char kLockedOut[] = "locked-out";
constexpr std::array<std::string_view, 3> kDeceptiveRules = {"invisible-character", "lookalike-character",
                                                             "surrounding-space"};
constexpr std::array<std::string_view, 4> kUnreadableRules = {"wrong-type", "unknown-word", "unknown-key",
                                                              kDoubtfulKey};
constexpr std::array<std::string_view, 2> kGeneralRules = {"out-of-range", kEnableMissing};

// Whether a finding of the rule at the offset counts.
using Filter = std::function<bool(std::string_view rule, std::ptrdiff_t offset)>;

// The filters for rules that report errors, and for those that report warnings.
struct Filters {
  Filter errors;
  Filter warnings;
};

// The locations of each rule's findings.
class FoundLocations {
 public:
  explicit FoundLocations(std::size_t size) : size_(size) {}

  void add(std::string_view rule, std::ptrdiff_t offset) {
    locations_.try_emplace(rule, size_).first->second.add(offset);
  }

  bool contains(std::string_view rule, std::ptrdiff_t offset) const {
    const auto found = locations_.find(rule);
    return found != locations_.end() && found->second.contains(offset);
  }

 private:
  std::size_t size_;
  std::unordered_map<std::string_view, LocationSet> locations_;
};

}  // namespace

template <std::size_t kSize>
static bool is_among(std::string_view name, const std::array<std::string_view, kSize>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

static Rank rank_of(std::string_view rule) {
  if (rule == kTextRefused) return kRefusedByPlatform;
  if (is_among(rule, kDeceptiveRules)) return kDeceptive;
  if (is_among(rule, kUnreadableRules)) return kUnreadable;
  if (is_among(rule, kGeneralRules)) return kOfAnything;
  return rule == kLockedOut ? kWhole : kOrdinary;
}

static bool counts_always(std::string_view /*rule*/, std::ptrdiff_t /*offset*/) {
  return true;
}

// Adds the findings of the rules of ranks `first` to `last`, except those at `judged` locations, where an
// earlier rank has findings. Updates `judged`.
static void examine(const Site& site, Rank first, Rank last, const Filters& filters, LocationSet& judged,
                    std::vector<Finding>& found) {
  for (int rank = first; rank <= last; ++rank) {
    LocationSet own = judged;
    for (const Rule& rule : all_rules()) {
      if (rule.examine == nullptr || rank_of(rule.name) != rank) continue;
      const Filter& counts = rule.severity == Severity::kError ? filters.errors : filters.warnings;
      const auto is_new = [&](std::ptrdiff_t offset) {
        if (judged.contains(offset) || !counts(rule.name, offset)) return false;
        own.add(offset);
        return true;
      };
      Findings findings(rule.name, rule.severity, is_new, found);
      rule.examine(site, findings);
    }
    judged = std::move(own);
  }
}

// The locations of the findings of each rule, from kOrdinary on.
static FoundLocations found_locations(Source& source) {
  const Site site(source);
  FoundLocations locations(source.text.size());
  for (const Rule& rule : all_rules()) {
    if (rule.examine == nullptr || rank_of(rule.name) < kOrdinary) continue;
    std::vector<Finding> unused;
    const auto record = [&](std::ptrdiff_t offset) {
      locations.add(rule.name, offset);
      return false;
    };
    Findings findings(rule.name, rule.severity, record, unused);
    rule.examine(site, findings);
  }
  return locations;
}

// A filter for findings that would remain after a repair, or are about a repaired value.
static Filter filter_after_repair(Source& source, Severity least) {
  const Repair repair(source, least);
  if (!repair.is_needed()) return counts_always;
  return [repaired = repair.replaced(), after = found_locations(source)](std::string_view rule,
                                                                         std::ptrdiff_t offset) {
    return repaired.contains(offset) || after.contains(rule, offset);
  };
}

static bool is_error(const Finding& finding) {
  return finding.severity == Severity::kError;
}

// Errors that follow from a warning are kept, since errors determine the exit status. But if only one
// warning can be their cause, it becomes an error itself, and the errors that follow from it are dropped.
// `first` is the index of the first finding that may follow from a warning.
static void blame_only_warning(const Filter& warnings, std::size_t first, std::vector<Finding>& found) {
  const auto is_cause = [](const Finding& finding) {
    return finding.rule == kDoubtfulKey || finding.rule == kEnableMissing;
  };
  if (std::count_if(found.begin(), found.end(), is_cause) != 1) return;
  const auto follows = [&warnings](const Finding& finding) {
    return is_error(finding) && !warnings(finding.rule, finding.range.begin);
  };
  const auto kept = std::remove_if(found.begin() + static_cast<std::ptrdiff_t>(first), found.end(), follows);
  if (kept == found.end()) return;
  found.erase(kept, found.end());
  std::find_if(found.begin(), found.end(), is_cause)->severity = Severity::kError;
}

// Whether the rule is about reaching a host, which a gateway without an address cannot do.
static bool is_about_ways(std::string_view rule) {
  constexpr std::string_view kEnd = "-unreachable";
  return rule.size() > kEnd.size() && rule.substr(rule.size() - kEnd.size()) == kEnd;
}

// Whether the finding may be why no interface has an address.
static bool may_lock_out(const Finding& finding) {
  return (is_error(finding) && !is_about_ways(finding.rule)) || finding.rule == "bridge-without-address";
}

// Adds findings about the configuration as a whole. They are only warnings, so errors that follow from them
// stay.
static void examine_whole(const Site& site, const Filters& filters, LocationSet& judged,
                          std::vector<Finding>& found) {
  if (std::none_of(found.begin(), found.end(), may_lock_out))
    examine(site, kWhole, kWhole, filters, judged, found);
}

std::vector<Finding> examine(Source& source) {
  const Filters all = {counts_always, counts_always};
  // Both filters are made before the Site: only one Site can have the tree at a time.
  const Filters ordinary = {filter_after_repair(source, Severity::kError),
                            filter_after_repair(source, Severity::kWarning)};
  const Site site(source);
  std::vector<Finding> found;
  LocationSet judged(source.text.size());
  examine(site, kRefusedByPlatform, kUnreadable, all, judged, found);
  const std::size_t first = found.size();
  examine(site, kOrdinary, kOfAnything, ordinary, judged, found);
  blame_only_warning(ordinary.warnings, first, found);
  examine_whole(site, ordinary, judged, found);
  std::stable_sort(found.begin(), found.end(),
                   [](const Finding& a, const Finding& b) { return a.range.begin < b.range.begin; });
  return found;
}
