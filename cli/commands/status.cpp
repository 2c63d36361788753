// `lanfab status`: shows whether the gateway matches its configuration.

#include <csignal>
#include <cstdio>
#include <map>

#include "cli/base/output.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/status/findings.h"
#include "cli/status/json_report.h"
#include "cli/status/nagios_report.h"
#include "cli/status/prometheus_report.h"
#include "cli/status/snapshot.h"
#include "cli/status/text_report.h"
#include "cli/status/watch.h"

namespace {

enum class StatusFormat { kText, kJson, kNagios, kPrometheus };

struct StatusOptions {
  bool watch = false;
  StatusFormat format = StatusFormat::kText;
  bool probe = false;     // also send packets
  bool messages = false;  // also show the log messages of the last runs
  std::string output;     // file to write; if empty, standard output
};

struct StatusReport {
  int status = kFailure;
  std::string text = {};
  std::string error = {};  // error message if there is no text; otherwise empty
};

}  // namespace

static StatusReport report_of(const NagiosReport& plugin) {
  return {plugin.status, plugin.line};
}

// Report on a gateway that could not be examined.
static StatusReport failure_report(StatusFormat format, const std::string& error) {
  const std::string line = printable("lanfab: " + error);
  if (format == StatusFormat::kNagios) return report_of(nagios_report_of(error));
  if (format == StatusFormat::kPrometheus) {
    fail(line);
    return {0, metrics_of_failure()};
  }
  return {kFailure, "", line};
}

// Takes a snapshot and reports on it. The exit status is that of `lanfab status`, except in two formats: a
// Nagios plugin has its own, and metrics always have 0.
static StatusReport make_report(const StatusOptions& options) {
  Snapshot snapshot;
  if (const auto error = take_snapshot(snapshot)) return failure_report(options.format, *error);
  const StatusFindings findings = find_all_drift(snapshot, options.probe);
  const int status = exit_status_of(findings);
  switch (options.format) {
    case StatusFormat::kJson:
      return {status, Json::writeString(Json::StreamWriterBuilder(), json_of(snapshot, findings)) + "\n"};
    case StatusFormat::kNagios:
      return report_of(nagios_report_of(findings));
    case StatusFormat::kPrometheus:
      return {0, metrics_of(snapshot, findings)};
    case StatusFormat::kText:
      break;
  }
  return {status, text_of(snapshot, findings, options.messages,
                          wants_color(options.output.empty() && is_terminal(STDOUT_FILENO)))};
}

static int keep_reporting(const StatusOptions& options) {
  if (!is_terminal(STDOUT_FILENO)) return fail("lanfab: --watch requires a terminal");
  StatusReport report = make_report(options);
  // Only the first failure ends the command: later ones may be temporary.
  if (!report.error.empty()) return fail(report.error);
  const int signal = watch([&options, &report] {
    report = make_report(options);
    return report.error.empty() ? report.text : report.error;
  });
  if (signal != 0) raise(signal);
  return report.status;
}

// Prints the report, or writes it to the file. Returns the exit status: 0 without drift, 1 with drift, 3 if
// all drift is pending, 2 on an error. With --watch, it is that of the last page.
static int status(const StatusOptions& options) {
  if (options.probe && geteuid() != 0) return fail("lanfab: --probe sends packets, which requires root");
  if (options.watch) return keep_reporting(options);
  OutputFile output(options.output);
  const bool has_output = !options.output.empty();
  if (has_output) {
    if (const auto error = output.open()) return fail(*error);
  }
  const StatusReport report = make_report(options);
  if (!report.error.empty()) return fail(report.error);
  if (!has_output) {
    std::fputs(report.text.c_str(), stdout);
  } else if (const auto error = output.write(report.text)) {
    return fail(*error);
  }
  return report.status;
}

Command status_command() {
  static StatusOptions options;
  const std::map<std::string, StatusFormat> formats = {{"text", StatusFormat::kText},
                                                       {"json", StatusFormat::kJson},
                                                       {"nagios", StatusFormat::kNagios},
                                                       {"prometheus", StatusFormat::kPrometheus}};
  Option format{"--format FORMAT",
                "text (default), json, nagios (one line, with\n"
                "the exit status of a plugin) or prometheus\n"
                "(metrics)",
                [formats](const std::string& name) { options.format = formats.at(name); },
                Completion::kNothing,
                {"text", "json", "nagios", "prometheus"}};
  format.excludes = "--watch";
  Option output = {"-o FILE", "write the output to this file, atomically", &options.output,
                   Completion::kFile};
  output.excludes = "--watch";
  Option probe = {"--probe",
                  "also send packets to hosts and servers, and check their answers; requires root, takes 2 s",
                  &options.probe};
  probe.excludes = "--watch";
  return {"status",
          "Show the gateway's status and any drift from its configuration",
          {{"--watch", "refresh continuously; press q to quit", &options.watch},
           format,
           output,
           probe,
           {"-v", "also show the messages of the last runs", &options.messages}},
          "Example: lanfab status --watch",
          [] { return status(options); }};
}
