// `lanfab status`: whether the gateway is as the last run wanted it.

#include <csignal>
#include <cstdio>

#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/status/drift.h"
#include "cli/status/json_report.h"
#include "cli/status/snapshot.h"
#include "cli/status/text_report.h"
#include "cli/status/watch.h"

namespace {

struct StatusOptions {
  bool watch = false;
  bool json = false;
  bool messages = false;  // show what the runs wrote to the system log, too
};

}  // namespace

// Takes one snapshot. `text` is what there is to print.
static int report_once(const StatusOptions& options, std::string& text) {
  Snapshot snapshot;
  if (const auto trouble = take_snapshot(snapshot)) {
    text = printable("lanfab: " + *trouble);
    return kFailure;
  }
  const std::vector<Drift> drift = find_drift(snapshot);
  text = options.json ? Json::writeString(Json::StreamWriterBuilder(), json_of(snapshot, drift)) + "\n"
                      : text_of(snapshot, drift, options.messages, wants_color(is_terminal(STDOUT_FILENO)));
  return drift.empty() ? 0 : 1;
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

// Prints what there is, with the differences marked. Returns the exit status: 0 when there is none, 1 when
// there is one, be it that something is still coming, 2 when there is nothing to see. A watch ends with that
// of its last look.
static int status(const StatusOptions& options) {
  if (options.watch) return keep_reporting(options);
  std::string text;
  const int result = report_once(options, text);
  if (result == kFailure) return fail(text);
  std::fputs(text.c_str(), stdout);
  return result;
}

Command status_command() {
  static StatusOptions options;
  Option format = json_option(options.json);
  format.excludes = "--watch";
  return {"status",
          "Say whether a gateway is as its configuration wants it",
          {{"--watch", "keep it up to date; q ends it", &options.watch},
           format,
           {"-v", "show the messages of the last runs, too", &options.messages}},
          "Example: lanfab status --watch",
          [] { return status(options); }};
}
