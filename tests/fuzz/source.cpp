// The bytes of a configuration file, through the loader of `lanfab`. The file is refused, with a message that
// has a location in it, or it is read, and then every value and every key is where a scanner of its own finds
// it, and the report of a finding there points at it.

#include "cli/config_file/source.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "check.h"
#include "cli/base/file.h"
#include "cli/lint/finding.h"
#include "json_tokens.h"
#include "libcmd/configuration_text.h"
#include "reports.h"

// "FILE:LINE:COLUMN: error: REASON", the location within the text.
static void check_refusal(const std::string& message, const std::string& file, const std::string& text) {
  check(message.compare(0, file.size() + 1, file + ":") == 0, "a refusal does not name the file");
  const char* rest = message.c_str() + file.size() + 1;
  char* end = nullptr;
  const long line = std::strtol(rest, &end, 10);
  check(end != rest && *end == ':', "a refusal has no line");
  rest = end + 1;
  const long column = std::strtol(rest, &end, 10);
  check(end != rest && std::string(end).compare(0, 9, ": error: ") == 0, "a refusal has no column");
  check(end[9] != '\0', "a refusal has no reason");
  check(message.find('\n') == std::string::npos, "a refusal is more than one line");
  // The parser ends lines as old files do, too.
  const auto ends = std::count_if(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; });
  check(line >= 1 && line <= ends + 1, "a refusal is about a line that the file does not have");
  check(column >= 1 && column <= static_cast<long>(text.size()) + 1,
        "a refusal is about a column that the file does not have");
}

namespace {

// A value of the tree, and the offset of its key as `lanfab` finds it.
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
      // A string with escapes is as long as it is; any other is its own text.
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

// Reports a finding at every value and every key, with the whole as a related location.
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
  if (const std::optional<std::string> failure = load_source(path, source)) {
    check_refusal(*failure, path, bytes);
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
