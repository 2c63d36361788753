// Reads a configuration file with the loader of `lanfab`. The file must be rejected with a message that has
// its location, or read with every value and every key at the offset that an independent scanner finds.
// Reports of findings at these offsets must have the correct location.

#include "cli/config_file/source.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "check.h"
#include "cli/base/file.h"
#include "cli/lint/finding.h"
#include "json_tokens.h"
#include "libcmd/configuration_text.h"
#include "reports.h"

static bool is_within(TextRange range, const std::string& text) {
  const auto size = static_cast<std::ptrdiff_t>(text.size());
  return range.begin >= 0 && range.begin <= range.end && range.end <= size;
}

// Returns the text after the fix. The last edit is applied first, so the offsets of the others stay valid.
static std::string fixed(std::string text, std::vector<Edit> fix) {
  std::sort(fix.begin(), fix.end(),
            [](const Edit& a, const Edit& b) { return a.range.begin > b.range.begin; });
  for (const Edit& edit : fix)
    text.replace(static_cast<std::size_t>(edit.range.begin),
                 static_cast<std::size_t>(edit.range.end - edit.range.begin), edit.replacement);
  return text;
}

static void check_syntax_error(const SyntaxError& error, const std::string& text) {
  check(is_within(error.range, text), "an error of syntax is outside the text");
  check(error.range.begin < error.range.end || text.empty(), "an error of syntax is about nothing");
  check(!error.message.empty() && error.message.find('\n') == std::string::npos,
        "an error of syntax has no message of one line");
  for (const RelatedLocation& related : error.related)
    check(is_within(related.range, text), "a second location is outside the text");
  for (const Edit& edit : error.fix)
    check(is_within(edit.range, text), "a fix is outside the text");
  // The fixed text may still be invalid, but must be parsed without a crash.
  Source source{"fixed", fixed(text, error.fix), {}};
  check(error.fix.empty() || source.text != text, "a fix changes nothing");
  parse_source(source);
}

// Checks a message "FILE:LINE:COLUMN: error: REASON [syntax]".
static void check_refusal(const LoadFailure& failure, const std::string& file, const Source& source) {
  check(failure.syntax.has_value(), "a file is refused for its size");
  check_syntax_error(*failure.syntax, source.text);
  const std::string line = failure.message.substr(0, failure.message.find('\n'));
  const auto begin = static_cast<std::size_t>(failure.syntax->range.begin);
  std::string location = file + ":";
  // Columns count characters, but line_and_column() counts bytes.
  const bool is_ascii = std::all_of(source.text.begin(), source.text.end(),
                                    [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (is_ascii) location += line_and_column(source.text, begin) + ": error: ";
  check(line.compare(0, location.size(), location) == 0, "a refusal has another location");
  constexpr char kEnd[] = " [syntax]";
  check(line.size() > location.size() + std::strlen(kEnd) &&
            line.compare(line.size() - std::strlen(kEnd), std::string::npos, kEnd) == 0,
        "a refusal does not name its rule");
}

namespace {

// A value of the tree, and the offset of its key according to `lanfab`.
struct Located {
  const Json::Value* value;
  std::size_t key;
};

}  // namespace

static void collect(const Source& source, const Json::Value& value, bool is_member,
                    std::vector<Located>& all) {
  const std::size_t key =
      is_member ? static_cast<std::size_t>(key_range(source.text, value).begin) : std::string::npos;
  all.push_back({&value, key});
  for (const Json::Value& inner : value)
    collect(source, inner, value.isObject(), all);
}

static bool is_text_of(const Json::Value& value, const std::string& text) {
  switch (text[0]) {
    case '{':
      return value.isObject();
    case '[':
      return value.isArray();
    case 't':
    case 'f':
      return value.isBool() && value.asBool() == (text == "true");
    case 'n':
      return value.isNull();
    case '"':
      // The content of a string with escapes is not compared.
      return value.isString() &&
             (text.find('\\') != std::string::npos || '"' + value.asString() + '"' == text);
    default:
      return value.isNumeric();
  }
}

static void check_locations(const Source& source, const std::vector<JsonToken>& tokens) {
  std::vector<Located> all;
  collect(source, source.root, false, all);
  std::sort(all.begin(), all.end(), [](const Located& a, const Located& b) {
    return a.value->getOffsetStart() < b.value->getOffsetStart();
  });
  check(all.size() == tokens.size(), "the tree has not as many values as the text");
  for (std::size_t i = 0; i < all.size(); ++i) {
    const auto begin = static_cast<std::size_t>(all[i].value->getOffsetStart());
    const auto end = static_cast<std::size_t>(all[i].value->getOffsetLimit());
    check(begin == tokens[i].begin && end == tokens[i].end, "a value is not where the tree has it");
    check(all[i].key == tokens[i].key, "a key is not where the source has it");
    check(is_text_of(*all[i].value, source.text.substr(begin, end - begin)),
          "a value is not what the text has at its place");
    const Position position = position_of(source.text, all[i].value->getOffsetStart());
    check(std::to_string(position.line) + ":" + std::to_string(position.column) ==
              line_and_column(source.text, begin),
          "a value has another line or column");
  }
}

static TextRange range_of(std::size_t begin, std::size_t end) {
  return {static_cast<std::ptrdiff_t>(begin), static_cast<std::ptrdiff_t>(end)};
}

// Checks reports with a finding at every value and every key, and the root as the related location.
static void check_reports(const Source& source, const std::vector<JsonToken>& tokens) {
  std::vector<Finding> findings;
  const auto add = [&](TextRange range) {
    FindingDetails details;
    details.related.push_back({range_of(tokens.front().begin, tokens.front().end), "message"});
    findings.push_back({"rule", Severity::kError, range, "message", std::move(details)});
  };
  for (const JsonToken& token : tokens) {
    if (token.key != std::string::npos) add(range_of(token.key, token.key + 1));
    add(range_of(token.begin, token.end));
  }
  check_text_report(source, findings);
  check_json_report(source, findings);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(data, data + size);
  const MemoryFile file;
  check(file.fill(bytes), "the memory is full");
  const std::string path = "/proc/self/fd/" + std::to_string(file.number());
  Source source;
  if (const auto failure = load_source(path, source)) {
    check_refusal(*failure, path, source);
    return 0;
  }
  const bool has_mark = bytes.compare(0, 3, "\xef\xbb\xbf") == 0;
  check(source.text == bytes.substr(has_mark ? 3 : 0), "the text is not that of the file");
  const auto tokens = scan_json(source.text);
  if (!tokens && may_have_comment(source.text)) return 0;
  check(tokens.has_value(), "what was accepted is not JSON");
  check_locations(source, *tokens);
  check_reports(source, *tokens);
  return 0;
}
