#include "summaries.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <utility>

#include "check.h"
#include "networkd/unit_file.h"

static bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

static bool begins_with(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

// "and 3 more lines", "1 line differs": the number; 0 for any other sentence.
static std::size_t count_in(const std::string& sentence) {
  const char* begin = sentence.c_str() + (begins_with(sentence, "and ") ? 4 : 0);
  char* end = nullptr;
  const auto count = static_cast<std::size_t>(std::strtoull(begin, &end, 10));
  const std::string rest = end;
  const std::set<std::string> plural = {" more lines", " lines differ"};
  const std::set<std::string> singular = {" more line", " line differs"};
  return (count == 1 ? singular : plural).count(rest) != 0 ? count : 0;
}

std::size_t checked_count(const std::vector<std::string>& sentences, std::size_t changed) {
  std::size_t count = 0;
  for (const std::string& sentence : sentences) {
    check(!sentence.empty() && !contains(sentence, "\n"), "a sentence is not one line");
    check(count == 0, "the count is not the last sentence");
    count = count_in(sentence);
  }
  check(count <= changed, "more lines are counted than differ");
  check(sentences.size() > (count != 0 ? 1 : 0) || count == changed,
        "without a sentence, some lines are not counted");
  check(sentences.size() < 2 || count == 0 || begins_with(sentences.back(), "and "),
        "the count is not joined to the sentences");
  return count;
}

// --- What a sentence mentions

// The words between spaces, commas and equals signs; a range of addresses is two.
static std::set<std::string> words_of(const std::string& text) {
  std::set<std::string> words;
  std::string word;
  bool has_dot = false;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    const char c = i < text.size() ? text[i] : ' ';
    const bool is_range = c == '-' && has_dot && std::isdigit(static_cast<unsigned char>(text[i - 1])) != 0;
    has_dot |= c == '.';
    if (c != ' ' && c != ',' && c != '=' && c != '"' && !is_range) {
      word += c;
    } else {
      if (!word.empty()) words.insert(word);
      word.clear();
    }
  }
  return words;
}

static bool have_common_word(const std::set<std::string>& a, const std::set<std::string>& b) {
  return std::any_of(a.begin(), a.end(), [&](const std::string& word) { return b.count(word) != 0; });
}

// The interface of a unit, from its path; empty for any other file.
static std::string interface_of(const std::string& path) {
  if (!begins_with(path, kUnitDir)) return "";
  const std::size_t begin = path.find('-', std::string(kUnitDir).size()) + 1;
  return path.substr(begin, path.rfind('.') - begin);
}

// Whether the sentence is about all that one of its interfaces has.
static bool is_about_whole(const std::string& sentence) {
  static const std::vector<std::string> kForms = {
      " is new", " is gone", " is no longer set up",    " stays in the kernel:",
      " joins ", " leaves ", " is in pass-through now", " is no longer in pass-through"};
  return begins_with(sentence, "the tunnel ") ||
         std::any_of(kForms.begin(), kForms.end(),
                     [&](const std::string& form) { return contains(sentence, form); });
}

// Whether the line of a unit goes without saying, given the sentence about its interface.
static bool is_consequence(const std::string& line, const std::string& sentence) {
  const std::string key = line.substr(0, line.find(' '));
  if (key == "Destination") return contains(sentence, " gateway ") || contains(sentence, " address ");
  if (line == "DHCP = ipv4" || line == "Gateway = _dhcp") return contains(sentence, "one by DHCP");
  return false;
}

// The words of a sentence, and those that follow from an address with its prefix: the address itself and,
// as all prefixes are 24 here, the netmask.
static std::set<std::string> values_in(const std::string& sentence) {
  std::set<std::string> values = words_of(sentence);
  for (const std::string& word : std::set<std::string>(values)) {
    const std::size_t slash = word.find('/');
    if (slash == std::string::npos) continue;
    values.insert(word.substr(0, slash));
    if (word.substr(slash) == "/24") values.insert("255.255.255.0");
  }
  return values;
}

namespace {

// A sentence or a line, and its words.
struct Worded {
  explicit Worded(std::string from) : text(std::move(from)), words(words_of(text)), values(values_in(text)) {}

  std::string text;
  std::set<std::string> words;
  std::set<std::string> values;
};

class Judge {
 public:
  Judge(const std::vector<std::string>& sentences, const std::vector<ChangedLine>& lines)
      : sentences_(sentences.begin(), sentences.end()) {
    for (const ChangedLine& line : lines) {
      if (begins_with(line.text, "Address = "))
        addresses_.emplace_back(interface_of(line.path), values_in(line.text));
    }
  }

  bool is_mentioned(const ChangedLine& line) const {
    const Worded worded(line.text);
    const std::string interface = interface_of(line.path);
    const std::set<std::string> subjects = subjects_of(worded, interface);
    return std::any_of(sentences_.begin(), sentences_.end(), [&](const Worded& sentence) {
      return is_about_whole(sentence.text) ? have_common_word(subjects, sentence.words)
                                           : mentions(sentence, worded, interface);
    });
  }

 private:
  static bool mentions(const Worded& sentence, const Worded& line, const std::string& interface) {
    if (!interface.empty() && !begins_with(sentence.text, interface + " ")) return false;
    if (have_common_word(line.words, sentence.values)) return true;
    if (!interface.empty()) return is_consequence(line.text, sentence.text);
    return begins_with(line.text, "dhcp-") && contains(sentence.text, "serves DHCP") &&
           line.words.count(sentence.text.substr(0, sentence.text.find(' '))) != 0;
  }

  // What a line may be about. A relay has only the address of its interface.
  std::set<std::string> subjects_of(const Worded& line, const std::string& interface) const {
    std::set<std::string> subjects = line.words;
    if (!interface.empty()) subjects.insert(interface);
    if (!begins_with(line.text, "dhcp-relay=")) return subjects;
    for (const auto& [owner, values] : addresses_) {
      if (have_common_word(line.words, values)) subjects.insert(owner);
    }
    return subjects;
  }

  std::vector<Worded> sentences_;
  // The values of changed addresses, by interface.
  std::vector<std::pair<std::string, std::set<std::string>>> addresses_;
};

}  // namespace

std::vector<ChangedLine> unmentioned_lines(const std::vector<std::string>& sentences,
                                           const std::vector<ChangedLine>& lines) {
  const Judge judge(sentences, lines);
  std::vector<ChangedLine> unmentioned;
  for (const ChangedLine& line : lines) {
    const bool is_layout = line.text.empty() || line.text[0] == '#' || line.text[0] == '[';
    if (!is_layout && !judge.is_mentioned(line)) unmentioned.push_back(line);
  }
  return unmentioned;
}
