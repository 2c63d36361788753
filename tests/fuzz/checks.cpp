// Checks a configuration with every rule of `lanfab check`: the input itself if it begins with a brace,
// otherwise one that is generated from its bytes. Each finding must belong to a rule and be located at a
// value or a key, the reports must contain all findings, and the same configuration in another layout must
// have the same findings.

#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "check.h"
#include "cli/config_file/source.h"
#include "cli/lint/rules.h"
#include "configuration_of.h"
#include "json_tokens.h"
#include "libcmd/configuration_text.h"
#include "reports.h"

namespace {

// A finding with the index of its token instead of its offset. The indices of keys precede those of values.
struct Essence {
  std::string rule;
  std::string message;
  std::size_t token;

  bool operator==(const Essence& other) const {
    return rule == other.rule && message == other.message && token == other.token;
  }
};

}  // namespace

static const Rule* find_rule(const std::string& name) {
  for (const Rule& rule : all_rules()) {
    if (rule.name == name) return &rule;
  }
  return nullptr;
}

static std::size_t token_at(const std::vector<JsonToken>& tokens, std::size_t offset) {
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    if (tokens[i].key == offset) return i;
    if (tokens[i].begin == offset) return tokens.size() + i;
  }
  check(false, "a finding is neither at a value nor at a key");
  return 0;
}

static std::vector<Essence> examined(Source& source, const std::vector<JsonToken>& tokens,
                                     std::vector<Finding>& findings) {
  findings = examine(source);
  std::vector<Essence> essences;
  for (const Finding& finding : findings) {
    const Rule* rule = find_rule(finding.rule);
    check(rule != nullptr, "a finding is of no rule");
    // A warning from which errors follow is an error.
    check(rule->severity == finding.severity || finding.severity == Severity::kError,
          "a finding is less severe than its rule");
    check(!finding.message.empty(), "a finding has no message");
    essences.push_back(
        {finding.rule, finding.message, token_at(tokens, static_cast<std::size_t>(finding.range.begin))});
  }
  check(std::is_sorted(findings.begin(), findings.end(),
                       [](const Finding& a, const Finding& b) { return a.range.begin < b.range.begin; }),
        "the findings are not in the order of the text");
  return essences;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  setlogmask(LOG_MASK(LOG_EMERG));
  Source source{"network.json", configuration_of(data, size), {}};
  if (parse_configuration(source.text, source.root)) return 0;
  const auto tokens = scan_json(source.text);
  if (!tokens && may_have_comment(source.text)) return 0;
  check(tokens.has_value(), "what was accepted is not JSON");
  std::vector<Finding> findings;
  const std::vector<Essence> essences = examined(source, *tokens, findings);
  check_text_report(source, findings);
  check_json_report(source, findings);

  Source spread{"network.json", spread_json(source.text, *tokens), {}};
  check(!parse_configuration(spread.text, spread.root), "space between tokens makes a text invalid");
  const auto spread_tokens = scan_json(spread.text);
  check(spread_tokens.has_value(), "space between tokens makes a text another one");
  check(examined(spread, *spread_tokens, findings) == essences, "the layout of a text changes its findings");
  return 0;
}
