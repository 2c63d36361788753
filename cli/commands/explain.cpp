// `lanfab explain` and `lanfab schema`, which print built-in documents.

#include <cstdio>

#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/config_file/nearest.h"
#include "cli/config_file/schema.h"
#include "cli/lint/report.h"
#include "cli/lint/rule_page.h"
#include "cli/lint/rules.h"

static std::vector<std::string> rule_names() {
  std::vector<std::string> names;
  for (const Rule& rule : all_rules())
    names.emplace_back(rule.name);
  return names;
}

static void list_rules() {
  for (const Rule& rule : all_rules())
    std::printf("%-30s %s\n", rule.name, word_for(rule.severity));
}

static const Rule* find_rule(const std::string& name) {
  for (const Rule& rule : all_rules())
    if (rule.name == name) return &rule;
  return nullptr;
}

// Prints the entries of the named rules; without names, a list of all rules. Returns the exit status: 0, or
// 2 if a name is unknown.
static int explain(const std::vector<std::string>& names) {
  if (names.empty()) list_rules();
  int status = 0;
  bool is_first = true;
  for (const std::string& name : names) {
    const Rule* rule = find_rule(name);
    if (rule == nullptr) {
      status = fail("lanfab: " + unknown_name("rule", name, rule_names(), "run 'lanfab explain' for a list"));
      continue;
    }
    std::printf("%s%s", is_first ? "" : "\n", entry_of(*rule).c_str());
    is_first = false;
  }
  return status;
}

Command explain_command() {
  static std::vector<std::string> rules;
  return {"explain",
          "Explain rules: what they check, why it matters, how to fix it",
          {{"RULE", "rules to explain; default: list all rules", &rules, Completion::kRule}},
          "Example: lanfab explain lease-address-twice",
          [] { return explain(rules); }};
}

static int print_schema() {
  std::fwrite(kSchema.data(), 1, kSchema.size(), stdout);
  return 0;
}

Command schema_command() {
  return {"schema", "Print the JSON Schema of the configuration", {}, "", print_schema};
}
