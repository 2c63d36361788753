#include "cli/commands/diff.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/base/secrets.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/compare/change_summary.h"
#include "cli/compare/diff_report.h"
#include "cli/compare/facts.h"
#include "cli/compare/file_differences.h"
#include "cli/compare/interrupts.h"
#include "cli/dry_run/dry_run.h"
#include "cli/history/history.h"
#include "cli/lint/allow.h"
#include "cli/lint/report.h"
#include "cli/lint/rules.h"
#include "cli/live/trial_state.h"
#include "libsysdb/sysdb_file.h"

namespace {

struct DiffOptions {
  std::string file = active_configuration();  // "-" is standard input
  std::string other;  // the newer configuration; if empty, `file` is compared with the present files
  std::string from;   // history entry that is the older configuration; `file` is then the newer one
  DryRunOptions dry_run;
  bool json = false;
  bool summary_only = false;
};

}  // namespace

static File commands_of(const DryRunResult& result) {
  File file{kCommands, 0, ""};
  for (const std::vector<std::string>& command : result.commands) {
    for (const std::string& word : command)
      file.content += (&word == &command.front() ? "" : " ") + printable(word);
    file.content += "\n";
  }
  return file;
}

// The files before the run. The commands of the run are on both sides: there are no earlier ones to compare
// them with.
static FilesByPath files_before(const DryRun& dry_run) {
  FilesByPath files = {{kCommands, commands_of(dry_run.result)}};
  for (const File& file : dry_run.initial_state.tree.files)
    if (file.path.rfind(kSystemDatabase, 0) != 0) files[file.path] = file;
  return files;
}

static FilesByPath files_after(const DryRun& dry_run) {
  FilesByPath files = {{kCommands, commands_of(dry_run.result)}};
  for (const ResultFile& file : dry_run.result.files)
    files[file.file.path] = file.file;
  return files;
}

// Makes a dry run. Returns nothing if it succeeds; otherwise an error message.
static std::optional<std::string> run(const Source& source, const DryRunOptions& options, DryRun& dry_run) {
  if (auto error = make_dry_run(source, options, dry_run)) return error;
  const DryRunResult& result = dry_run.result;
  if (result.status == 0) return std::nullopt;
  const std::string how = result.status < 0
                              ? std::string("is ended by a signal: ") + strsignal(-result.status)
                              : "fails with the exit status " + std::to_string(result.status);
  return SecretMask().masked(without_proc_errors(result.standard_error)) + printable(dry_run.source.name) +
         ": the run " + how + "; see `lanfab preview -v`";
}

// One mask for both sides, so that a changed key gets another number.
static void hide_secrets(FilesByPath& before, FilesByPath& after) {
  SecretMask mask;
  for (FilesByPath* files : {&before, &after})
    for (auto& [path, file] : *files)
      mask.hide_in(file);
}

// The units that a comparison covers. In a comparison of two dry runs, only an APPLY writes all units.
static Scope scope_of(const DryRunOptions& options, bool are_two_runs) {
  return are_two_runs && options.action != "apply" ? Scope::kPart : Scope::kGateway;
}

static DiffReport compare(const FilesByPath& before, const FilesByPath& after, const DryRunOptions& options,
                          bool are_two_runs) {
  DiffReport report;
  report.files = find_differences(before, after);
  if (report.files.empty()) return report;
  const Facts old_facts = read_facts(before);
  const Facts new_facts = read_facts(after);
  report.sentences =
      change_summary(old_facts, new_facts, changed_files(report.files), scope_of(options, are_two_runs));
  const char* ssh = std::getenv("SSH_CONNECTION");
  report.interrupts = find_interrupts(old_facts, new_facts,
                                      {are_two_runs, options.action == "apply", ssh != nullptr ? ssh : ""});
  return report;
}

// Warns of errors: a configuration that has some probably does not change what its author intended.
static void warn_of_errors(Source source) {
  Summary summary;
  count(judgement_of(source.text, examine(source), {}), summary);
  if (summary.errors == 0) return;
  report("lanfab: warning: " + source.name + " has " + counted(summary.errors, "error") +
         "; see `lanfab check`");
}

static std::optional<std::string> run_and_warn(const Source& source, const DryRunOptions& options,
                                               DryRun& dry_run) {
  if (auto error = run(source, options, dry_run)) return error;
  warn_of_errors(source);
  return std::nullopt;
}

// Makes a dry run of the configuration in a file, and warns of its errors. Returns nothing on success;
// otherwise an error message.
static std::optional<std::string> load_and_run(const std::string& file, const DryRunOptions& options,
                                               DryRun& dry_run) {
  Source source;
  if (const auto failure = load_source(file, source)) return failure->message;
  return run_and_warn(source, options, dry_run);
}

// Makes a dry run of an entry of the history, and warns of its errors. Returns nothing on success;
// otherwise an error message.
static std::optional<std::string> run_entry(const std::string& number, const DryRunOptions& options,
                                            DryRun& dry_run) {
  Source source;
  if (auto error = load_from_history(number, source)) return error;
  return run_and_warn(source, options, dry_run);
}

// Makes dry runs of the one or two configurations to compare. Returns nothing on success; otherwise an
// error message.
static std::optional<std::string> run_both(const DiffOptions& options, DryRun& first, DryRun& second) {
  const bool has_entry = !options.from.empty();
  const std::string& newer = has_entry ? options.file : options.other;
  if (auto error = has_entry ? run_entry(options.from, options.dry_run, first)
                             : load_and_run(options.file, options.dry_run, first)) {
    return error;
  }
  return newer.empty() ? std::nullopt : load_and_run(newer, options.dry_run, second);
}

// On a terminal, control characters are replaced. Elsewhere the output may be a patch, whose lines must not
// change.
static void print_as_text(const DiffReport& report, bool summary_only) {
  const bool has_terminal = is_terminal(STDOUT_FILENO);
  const bool color = wants_color(has_terminal);
  std::string text = summary_text(report, color);
  if (!summary_only) {
    const std::string differences = differences_text(report, has_terminal, color);
    if (!text.empty() && !differences.empty()) text += "\n";
    text += differences;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
}

// Prints the change summary and the differences of files and commands. Returns the exit status: 0 without
// differences, 1 with differences, 2 if a run fails or cannot be made.
static int diff(const DiffOptions& options) {
  DryRun first;
  DryRun second;
  if (const auto error = run_both(options, first, second)) return fail(*error);
  const bool has_other = !options.other.empty() || !options.from.empty();
  FilesByPath before = has_other ? files_after(first) : files_before(first);
  FilesByPath after = files_after(has_other ? second : first);
  hide_secrets(before, after);
  const DiffReport report = compare(before, after, options.dry_run, has_other);
  if (options.json) {
    std::printf("%s\n", Json::writeString(Json::StreamWriterBuilder(), diff_json(report)).c_str());
  } else {
    print_as_text(report, options.summary_only);
  }
  return report.files.empty() ? 0 : 1;
}

std::optional<std::string> show_changes(const Source& source) {
  DryRun dry_run;
  const DryRunOptions options;
  if (auto error = run(source, options, dry_run)) return error;
  const FilesByPath before = files_before(dry_run);
  const FilesByPath after = files_after(dry_run);
  const DiffReport report = compare(before, after, options, false);
  std::fputs(summary_text(report, wants_color(is_terminal(STDOUT_FILENO))).c_str(), stdout);
  return std::nullopt;
}

Command diff_command() {
  static DiffOptions options;
  Option format = json_option(options.json);
  format.excludes = "--summary";
  Option from = {"--from NUMBER", "compare FILE with this entry of the history", &options.from};
  from.excludes = "OTHER";
  return {"diff",
          "Show what a configuration would change",
          {file_option(options.file),
           {"OTHER", "a configuration to compare it with; default: the files in /var/run", &options.other,
            Completion::kFile},
           from,
           action_option(options.dry_run.action),
           cell_option(options.dry_run.cell),
           program_option(options.dry_run.program),
           {"--summary", "print only the change summary and the interrupts", &options.summary_only},
           format},
          "Example: lanfab diff /etc/lanfab/network.json network.json",
          [] { return diff(options); }};
}
