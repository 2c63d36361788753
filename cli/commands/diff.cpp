#include "cli/commands/diff.h"

#include <cstdio>
#include <cstring>
#include <map>
#include <set>

#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/compare/change_summary.h"
#include "cli/compare/facts.h"
#include "cli/compare/unified_diff.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/installed_file.h"
#include "libsysdb/sysdb_file.h"

constexpr char kNoFile[] = "/dev/null";

namespace {

struct DiffOptions {
  std::string file = kInstalledConfiguration;  // "-" is standard input
  std::string other;  // the new one, `file` being the old; empty, `file` is compared with what is in force
  DryRunOptions dry_run;
};

// What is compared.
struct Side {
  std::vector<File> files;
  std::vector<std::vector<std::string>> commands;
};

}  // namespace

static Side state_before(const DryRun& dry_run) {
  Side side;
  for (const File& file : dry_run.initial_state.tree.files)
    if (file.path.rfind(kSystemDatabase, 0) != 0) side.files.push_back(file);
  // Nothing to compare the commands of a run with.
  side.commands = dry_run.result.commands;
  return side;
}

static Side state_after(const DryRun& dry_run) {
  Side side{{}, dry_run.result.commands};
  for (const ResultFile& file : dry_run.result.files)
    side.files.push_back(file.file);
  return side;
}

// Returns nothing, or why there is nothing to compare. The configuration is a file's name or has been read.
template <typename Configuration>
static std::optional<std::string> run(const Configuration& configuration, const DryRunOptions& options,
                                      DryRun& dry_run) {
  if (auto trouble = make_dry_run(configuration, options, dry_run)) return trouble;
  const DryRunResult& result = dry_run.result;
  if (result.status == 0) return std::nullopt;
  const std::string how = result.status < 0
                              ? std::string("is ended by a signal: ") + strsignal(-result.status)
                              : "fails with the exit status " + std::to_string(result.status);
  return result.standard_error + dry_run.source.name + ": the run " + how + "; see `lanfab preview -v`";
}

static std::string text_of(const std::vector<std::vector<std::string>>& commands) {
  std::string text;
  for (const std::vector<std::string>& command : commands) {
    for (const std::string& word : command)
      text += (&word == &command.front() ? "" : " ") + word;
    text += "\n";
  }
  return text;
}

static std::map<std::string, const File*> by_path(const Side& side) {
  std::map<std::string, const File*> files;
  for (const File& file : side.files)
    files[file.path] = &file;
  return files;
}

static std::string difference_of(const std::string& path, const File* before, const File* after) {
  const std::string old_name = before != nullptr ? path : kNoFile;
  const std::string new_name = after != nullptr ? path : kNoFile;
  const std::string text = unified_diff(old_name, before != nullptr ? before->content : "", new_name,
                                        after != nullptr ? after->content : "");
  if (before == nullptr || after == nullptr || before->mode == after->mode) return text;
  char modes[64];
  std::snprintf(modes, sizeof modes, "mode %04o becomes %04o: ", static_cast<unsigned>(before->mode),
                static_cast<unsigned>(after->mode));
  return modes + path + "\n" + text;
}

// The difference without the two lines that name the files.
static std::string hunks_of(const std::string& difference) {
  const std::size_t begin = difference.find("\n@@");
  return begin == std::string::npos ? std::string() : difference.substr(begin);
}

// One file after the other. Of two with the same hunks, such as a file and what it is copied from, the second
// is only named.
static std::string differences_of_files(const Side& before, const Side& after) {
  const std::map<std::string, const File*> old_files = by_path(before);
  const std::map<std::string, const File*> new_files = by_path(after);
  std::set<std::string> paths;
  for (const auto& files : {old_files, new_files})
    for (const auto& [path, file] : files)
      paths.insert(path);
  std::string text;
  std::map<std::string, std::string> shown;
  for (const std::string& path : paths) {
    const auto old_file = old_files.find(path);
    const auto new_file = new_files.find(path);
    const std::string difference =
        difference_of(path, old_file != old_files.end() ? old_file->second : nullptr,
                      new_file != new_files.end() ? new_file->second : nullptr);
    const auto [first, is_new] = shown.emplace(hunks_of(difference), path);
    const bool is_repeated = !is_new && !first->first.empty();
    text += is_repeated ? path + " differs as " + first->second + " does\n" : difference;
  }
  return text;
}

static std::string text_of_changes(const Side& before, const Side& after) {
  std::string text;
  for (const std::string& line : words_for(read_facts(before.files), read_facts(after.files), after.commands))
    text += line + "\n";
  return text;
}

// Prints the changes in words, the differences of the files and those of the commands. Returns the exit
// status: 0 when there is no difference, 1 when there is one, 2 when a run fails or there is no result.
static int diff(const DiffOptions& options) {
  DryRun first;
  DryRun second;
  if (const auto trouble = run(options.file, options.dry_run, first)) return fail(*trouble);
  const bool has_other = !options.other.empty();
  if (has_other) {
    if (const auto trouble = run(options.other, options.dry_run, second)) return fail(*trouble);
  }
  const Side before = has_other ? state_after(first) : state_before(first);
  const Side after = state_after(has_other ? second : first);

  const std::string files = differences_of_files(before, after);
  const std::string commands =
      unified_diff("commands", text_of(before.commands), "commands", text_of(after.commands));
  std::string text = text_of_changes(before, after);
  for (const std::string& part : {files, commands}) {
    if (!text.empty() && !part.empty()) text += "\n";
    text += part;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  return text.empty() ? 0 : 1;
}

std::optional<std::string> show_changes(const Source& source) {
  DryRun dry_run;
  if (auto trouble = run(source, DryRunOptions(), dry_run)) return trouble;
  std::fputs(text_of_changes(state_before(dry_run), state_after(dry_run)).c_str(), stdout);
  return std::nullopt;
}

Command diff_command() {
  static DiffOptions options;
  return {"diff",
          "Show what a configuration would change",
          {file_option(options.file),
           {"OTHER",
            "a newer one to compare it with; without, FILE is compared with\n"
            "what is in /var/run now",
            &options.other, Completion::kFile},
           action_option(options.dry_run.action),
           cell_option(options.dry_run.cell),
           program_option(options.dry_run.program)},
          "Example: lanfab diff /etc/lanfab/network.json network.json",
          [] { return diff(options); }};
}
