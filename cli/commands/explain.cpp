// `lanfab explain` and `lanfab schema`, which print what this program was built with.

#include <cstdio>

#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/config_file/schema.h"
#include "cli/lint/report.h"
#include "cli/lint/rule_page.h"
#include "cli/lint/rules.h"

static void list_rules() {
  for (const Rule& rule : all_rules())
    std::printf("%-30s %s\n", rule.name, word_for(rule.severity));
}

// Prints the entry of a rule, or with an empty name a line for each rule. Returns the exit status: 0, or 2
// for a name that no rule has.
static int explain(const std::string& name) {
  if (name.empty()) {
    list_rules();
    return 0;
  }
  for (const Rule& rule : all_rules()) {
    if (rule.name != name) continue;
    std::printf("%s\n", std::string(entry_of(rule)).c_str());
    return 0;
  }
  return fail("lanfab: there is no rule \"" + printable(name) + "\"; `lanfab explain` lists them");
}

Command explain_command() {
  static std::string rule;
  return {"explain",
          "Say what a rule is about, why it hurts and how to mend it",
          {{"RULE", "a rule's name; all rules are listed without one", &rule, Completion::kRule}},
          "Example: lanfab explain lease-address-twice",
          [] { return explain(rule); }};
}

static int print_schema() {
  std::fwrite(kSchema.data(), 1, kSchema.size(), stdout);
  return 0;
}

Command schema_command() {
  return {"schema", "Print the JSON Schema of the configuration", {}, "", print_schema};
}
