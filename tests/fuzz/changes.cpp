// Compares two texts, or the files of two runs, which are parts of the input or are generated from it. The
// unified diff, applied to the first text, must produce the second, and the change summary must not count
// more lines than differ.

#include <cstdint>
#include <cstdio>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "check.h"
#include "cli/compare/change_summary.h"
#include "cli/compare/facts.h"
#include "cli/compare/unified_diff.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "dnsmasq/hosts.h"
#include "dnsmasq/resolv_conf.h"
#include "files.h"
#include "generator.h"
#include "networkd/unit_file.h"
#include "text.h"

constexpr char kNoLineEnd[] = "\\ No newline at end of file";

// --- The diff

namespace {

// Applies a diff like patch(1), but without tolerating any mismatch.
class Patch {
 public:
  Patch(const std::string& old_text, const UnifiedDiff& difference)
      : old_lines_(lines_of(old_text)),
        lines_(lines_of(difference.text)),
        difference_(difference),
        has_end_(old_text.empty() || old_text.back() == '\n') {}

  std::string apply() {
    while (number_ < lines_.size())
      apply_hunk();
    copy_until(old_lines_.size());
    check(removed_ == difference_.removed, "other lines are listed as removed");
    check(added_ == difference_.added, "other lines are listed as added");
    return new_text_;
  }

  // Checks and skips the two lines with the names of the texts.
  void skip_names() {
    check(lines_.size() >= 2, "a difference does not name the texts");
    check(lines_[0] == "--- old" && lines_[1] == "+++ new", "a difference names other texts");
    number_ = 2;
  }

 private:
  static constexpr std::size_t kContext = 3;

  void copy_until(std::size_t end) {
    check(end <= old_lines_.size() && position_ <= end, "a hunk is not where it says");
    while (position_ < end)
      copy_line();
  }

  // Whether the line of the old text at this index is the last one and does not end with a newline.
  bool lacks_end(std::size_t position) const {
    return !has_end_ && position + 1 == old_lines_.size();
  }

  void copy_line() {
    new_text_ += old_lines_[position_] + (lacks_end(position_) ? "" : "\n");
    ++position_;
    ++new_position_;
  }

  // Parses "@@ -1,2 +3,4 @@", the first line and the number of lines in each text, and applies the hunk. If
  // the number of lines is 0, the first line is the one before the hunk.
  void apply_hunk() {
    std::size_t begin = 0;
    std::size_t count = 0;
    std::size_t new_begin = 0;
    std::size_t new_count = 0;
    const int fields = std::sscanf(lines_[number_].c_str(), "@@ -%zu,%zu +%zu,%zu @@", &begin, &count,
                                   &new_begin, &new_count);
    check(fields == 4, "a difference has a line outside its hunks");
    ++number_;
    copy_until(count > 0 ? begin - 1 : begin);
    check(new_position_ == (new_count > 0 ? new_begin - 1 : new_begin),
          "a hunk has another place in the new text");
    apply_lines(position_ + count, new_position_ + new_count);
  }

  void apply_lines(std::size_t end, std::size_t new_end) {
    std::size_t unchanged = 0;
    bool has_change = false;
    while (position_ < end || new_position_ < new_end) {
      check(number_ < lines_.size() && !lines_[number_].empty(), "a hunk is cut off");
      const char kind = lines_[number_][0];
      apply_line(kind, lines_[number_].substr(1));
      unchanged = kind == ' ' ? unchanged + 1 : 0;
      has_change |= kind != ' ';
      check(unchanged <= 2 * kContext, "a hunk has more context than it needs");
    }
    check(position_ == end && new_position_ == new_end, "a hunk has other lines than it says");
    check(has_change, "a hunk has no change");
  }

  void apply_line(char kind, const std::string& line) {
    ++number_;
    check(kind == ' ' || kind == '-' || kind == '+', "a line of a hunk is neither old nor new");
    const bool has_note = number_ < lines_.size() && lines_[number_] == kNoLineEnd;
    number_ += has_note ? 1 : 0;
    if (kind == '+') {
      added_.push_back(new_position_++);
      new_text_ += line + (has_note ? "" : "\n");
      return;
    }
    check(position_ < old_lines_.size() && old_lines_[position_] == line, "a hunk does not fit the old text");
    check(has_note == lacks_end(position_), "a hunk has a line end that the old text does not have");
    if (kind == ' ') {
      copy_line();
    } else {
      removed_.push_back(position_++);
    }
  }

  std::vector<std::string> old_lines_;
  std::vector<std::string> lines_;
  const UnifiedDiff& difference_;
  bool has_end_;
  std::size_t number_ = 0;
  std::size_t position_ = 0;
  std::size_t new_position_ = 0;
  std::string new_text_;
  std::vector<std::size_t> removed_;
  std::vector<std::size_t> added_;
};

}  // namespace

static UnifiedDiff checked_difference(const std::string& old_text, const std::string& new_text) {
  UnifiedDiff difference = unified_diff("old", old_text, "new", new_text);
  Patch patch(old_text, difference);
  patch.skip_names();
  check(patch.apply() == new_text, "the difference gives another text than the new one");
  check(old_text != new_text || (difference.removed.empty() && difference.added.empty()),
        "equal texts have a difference");
  return difference;
}

// --- The summary

static std::string content_at(const FilesByPath& files, const std::string& path) {
  const auto found = files.find(path);
  return found != files.end() ? found->second.content : "";
}

// Returns the number in "and 3 more lines in 20-eth0.network" or "1 line differs in hosts"; nullopt for other
// sentences.
static std::optional<std::size_t> count_in(const std::string& sentence) {
  static const std::regex kCount("(?:and )?([0-9]+) (?:more lines?|lines? differs?) in .*");
  std::smatch match;
  if (!std::regex_match(sentence, match, kCount)) return std::nullopt;
  return static_cast<std::size_t>(std::stoul(match[1]));
}

// Checks that each sentence is one line, and that the last ones count changed lines: at most all of them, and
// exactly all if there is no other sentence. The test diff.pairs checks that the others mention the rest.
static void check_sentences(const std::vector<std::string>& sentences, std::size_t changed) {
  std::size_t counted = 0;
  bool has_other = false;
  for (const std::string& sentence : sentences) {
    check(!sentence.empty() && sentence.find('\n') == std::string::npos, "a sentence is not one line");
    const std::optional<std::size_t> count = count_in(sentence);
    check(count || counted == 0, "a sentence follows the counts");
    has_other = has_other || !count;
    counted += count.value_or(0);
  }
  check(counted <= changed, "more lines are counted than differ");
  check(has_other || counted == changed, "without a sentence, some lines are not counted");
}

static std::set<std::string> paths_in(const FilesByPath& before, const FilesByPath& after) {
  std::set<std::string> paths;
  for (const FilesByPath* files : {&before, &after}) {
    for (const auto& entry : *files)
      paths.insert(entry.first);
  }
  return paths;
}

static void check_summary(const TwoRuns& runs) {
  std::vector<ChangedFile> files;
  std::size_t changed = 0;
  for (const std::string& path : paths_in(runs.before, runs.after)) {
    const std::string before = content_at(runs.before, path);
    const std::string after = content_at(runs.after, path);
    if (before == after) continue;
    const UnifiedDiff difference = checked_difference(before, after);
    changed += difference.removed.size() + difference.added.size();
    files.push_back({path, difference.removed, difference.added});
  }
  const Facts before = read_facts(runs.before);
  const Facts after = read_facts(runs.after);
  const std::vector<std::string> sentences = change_summary(before, after, files, Scope::kGateway);
  check_sentences(sentences, changed);
  check(changed > 0 || sentences.empty(), "equal files have a summary");
  check(change_summary(after, after, {}, Scope::kGateway).empty(), "a run differs from itself");
}

// --- The inputs

// Splits the input at its zero bytes.
static std::vector<std::string> pieces_of(const std::string& text) {
  std::vector<std::string> pieces;
  std::size_t begin = 0;
  for (std::size_t end = text.find('\0'); end != std::string::npos; end = text.find('\0', begin)) {
    pieces.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  pieces.push_back(text.substr(begin));
  return pieces;
}

// Returns files with these pieces as their content: for each path, that of the first and of the second run.
static TwoRuns runs_with(const std::vector<std::string>& pieces) {
  static const std::vector<std::string> kPaths = {
      kUnitDir + std::string("20-eth0.network"),    kDnsmasqConf, kHostsFile, kResolvConf,
      kUnitDir + std::string("70-gre-tun1.netdev"), kCommands};
  TwoRuns runs;
  for (std::size_t i = 0; i < pieces.size() && i / 2 < kPaths.size(); ++i) {
    const std::string& path = kPaths[i / 2];
    (i % 2 == 0 ? runs.before : runs.after)[path] = {path, 0644, pieces[i]};
  }
  return runs;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string rest(data + 1, data + size);
  if (data[0] % 4 == 0) {
    const std::vector<std::string> pieces = pieces_of(rest);
    checked_difference(pieces[0], pieces.size() > 1 ? pieces[1] : "");
  } else if (data[0] % 4 == 1) {
    check_summary(runs_with(pieces_of(rest)));
  } else {
    Generator generator(data + 1, size - 1);
    check_summary(draw_runs(generator));
  }
  return 0;
}
