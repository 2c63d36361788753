// `lanfab record`, a hidden command. Services run it to record the applied configuration, login shells to
// show how the last trial ended.

#include <cstdio>

#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/history/history.h"
#include "cli/live/applied.h"
#include "cli/live/outcome.h"
#include "cli/live/system.h"
#include "cli/live/trial_state.h"

namespace {

struct RecordOptions {
  std::string what;
  std::string program;  // the cmd_lanfab to run
};

}  // namespace

// Prints how the last trial ended, to any user. It is not an error if no trial has ended.
static int show_outcome() {
  if (const auto outcome = read_outcome()) std::printf("%s\n", describe(*outcome).c_str());
  return 0;
}

// Adds the applied configuration to the history. A configuration on trial is added when it is confirmed.
static void add_to_history() {
  Applied applied;
  if (!is_trial_active() && !read_applied(applied)) record_in_history(applied.text, "");
}

static int record(const RecordOptions& options) {
  if (options.what == "outcome") return show_outcome();
  if (const auto error = enter_system_as_service()) return fail(*error);
  if (options.what == "apply") return apply_and_record(options.program) ? 0 : 1;
  const bool is_done = options.what == "before" ? note_configuration() : record_noted_configuration();
  if (!is_done) return fail(with_errno("lanfab: cannot record what is applied"));
  if (options.what == "after") add_to_history();
  return 0;
}

Command record_command() {
  static RecordOptions options;
  Command command = {
      "record",
      "Record what a service applies",
      {{"WHAT",
        "before, after: around the APPLY of a service; apply: run PROGRAM and record what it applies; "
        "outcome: how the last trial ended",
        &options.what,
        Completion::kNothing,
        {"before", "after", "apply", "outcome"},
        Presence::kRequired},
       {"PROGRAM", "the cmd_lanfab to run", &options.program, Completion::kFile}},
      "",
      [] { return record(options); }};
  command.is_hidden = true;
  return command;
}
