// `lanfab status`: whether the gateway is as the last run wanted it.

#include <csignal>
#include <cstdio>
#include <map>

#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/status/findings.h"
#include "cli/status/json_report.h"
#include "cli/status/nagios_report.h"
#include "cli/status/snapshot.h"
#include "cli/status/text_report.h"
#include "cli/status/watch.h"

namespace {

enum class StatusFormat { kText, kJson, kNagios };

struct StatusOptions {
  bool watch = false;
  StatusFormat format = StatusFormat::kText;
  bool probe = false;     // send packets, too
  bool messages = false;  // show what the runs wrote to the system log, too
};

}  // namespace

// Takes one snapshot and examines it. `text` is the report or, with the status kFailure, an error message.
static int report_once(const StatusOptions& options, std::string& text) {
  Snapshot snapshot;
  if (const auto trouble = take_snapshot(snapshot)) {
    text = printable("lanfab: " + *trouble);
    return kFailure;
  }
  const StatusFindings findings = find_all_drift(snapshot, options.probe);
  if (options.format == StatusFormat::kJson) {
    text = Json::writeString(Json::StreamWriterBuilder(), json_of(snapshot, findings)) + "\n";
  } else {
    text = text_of(snapshot, findings, options.messages, wants_color(is_terminal(STDOUT_FILENO)));
  }
  return exit_status_of(findings);
}

// Prints the line of a plugin. Returns its exit status.
static int report_to_nagios(const StatusOptions& options) {
  Snapshot snapshot;
  const auto trouble = take_snapshot(snapshot);
  const NagiosReport report =
      trouble ? nagios_report_of(*trouble) : nagios_report_of(find_all_drift(snapshot, options.probe));
  std::fputs(report.line.c_str(), stdout);
  return report.status;
}

static int keep_reporting(const StatusOptions& options) {
  if (!is_terminal(STDOUT_FILENO)) return fail("lanfab: --watch needs a terminal");
  std::string text;
  int result = report_once(options, text);
  // What fails later may come back.
  if (result == kFailure) return fail(text);
  const int signal = watch([&options, &result, &text] {
    result = report_once(options, text);
    return text;
  });
  if (signal != 0) raise(signal);
  return result;
}

// Prints the report. Returns the exit status: 0 without drift, 1 with drift, 3 if all of it is pending, 2 on
// an error. A watch ends with that of its last page.
static int status(const StatusOptions& options) {
  if (options.probe && geteuid() != 0) return fail("lanfab: --probe sends packets, which takes root");
  if (options.format == StatusFormat::kNagios) return report_to_nagios(options);
  if (options.watch) return keep_reporting(options);
  std::string text;
  const int result = report_once(options, text);
  if (result == kFailure) return fail(text);
  std::fputs(text.c_str(), stdout);
  return result;
}

Command status_command() {
  static StatusOptions options;
  const std::map<std::string, StatusFormat> formats = {
      {"text", StatusFormat::kText}, {"json", StatusFormat::kJson}, {"nagios", StatusFormat::kNagios}};
  Option format{"--format FORMAT",
                "text, json or nagios: one line, with the exit status of a plugin",
                [formats](const std::string& name) { options.format = formats.at(name); },
                Completion::kNothing,
                {"text", "json", "nagios"}};
  format.excludes = "--watch";
  Option probe = {"--probe", "send packets to find what only hosts know: takes root and 2 s", &options.probe};
  probe.excludes = "--watch";
  return {"status",
          "Say whether a gateway is as its configuration wants it",
          {{"--watch", "keep it up to date; q ends it", &options.watch},
           format,
           probe,
           {"-v", "show the messages of the last runs, too", &options.messages}},
          "Example: lanfab status --watch",
          [] { return status(options); }};
}
