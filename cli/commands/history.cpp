// `lanfab history`: lists the configurations that became active, and prints them.

#include "cli/history/history.h"

#include <unistd.h>

#include <cstdio>

#include "cli/base/secrets.h"
#include "cli/base/sha256.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/history/list.h"

namespace {

struct HistoryOptions {
  std::string action;  // "show"; if empty, list the entries
  std::string number;
  bool json = false;
};

}  // namespace

static Json::Value json_of(const HistoryEntry& entry) {
  Json::Value value(Json::objectValue);
  value["number"] = Json::Int64(entry.number);
  if (!entry.damage.empty()) {
    value["damage"] = entry.damage;
    return value;
  }
  value["time"] = Json::Int64(entry.time);
  value["who"] = entry.who;
  value["comment"] = entry.comment;
  value["sha256"] = sha256(entry.configuration);
  return value;
}

static void print_json(const Json::Value& value) {
  std::printf("%s\n", Json::writeString(Json::StreamWriterBuilder(), value).c_str());
}

static int list_entries(bool json) {
  std::vector<HistoryEntry> entries;
  if (const auto error = History().read(entries)) return fail("lanfab: " + *error);
  if (json) {
    Json::Value root(Json::objectValue);
    root["entries"] = Json::arrayValue;
    for (const HistoryEntry& entry : entries)
      root["entries"].append(json_of(entry));
    print_json(root);
    return 0;
  }
  std::fputs(entries.empty() ? "No configuration has been confirmed yet.\n" : list_text(entries).c_str(),
             stdout);
  return 0;
}

static int show_entry(const std::string& number, bool json) {
  HistoryEntry entry;
  if (const auto error = History().find(number, entry)) return fail("lanfab: " + *error);
  std::string text = entry.configuration;
  blank_secrets(text);
  if (json) {
    Json::Value value = json_of(entry);
    value["configuration"] = text;
    print_json(value);
    return 0;
  }
  if (is_terminal(STDOUT_FILENO)) text = printable(text, "\n\t");
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

static int history(const HistoryOptions& options) {
  if (options.action.empty()) return list_entries(options.json);
  if (options.number.empty()) return fail("lanfab: history show requires the number of an entry");
  return show_entry(options.number, options.json);
}

Command history_command() {
  static HistoryOptions options;
  return {
      "history",
      "List the configurations that were applied",
      {{"ACTION",
        "show: print the configuration of an entry; default: list all entries",
        &options.action,
        Completion::kNothing,
        {"show"}},
       {"NUMBER", "number of the entry", &options.number},
       json_option(options.json)},
      "lanfab diff --from NUMBER shows what has changed since; lanfab revert NUMBER applies the entry as a "
      "trial.\n\n"
      "Example: lanfab history show 12",
      [] { return history(options); }};
}
