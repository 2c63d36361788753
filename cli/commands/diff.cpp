#include "cli/commands/diff.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <map>

#include "cli/base/secrets.h"
#include "cli/base/terminal.h"
#include "cli/commands/commands.h"
#include "cli/compare/change_summary.h"
#include "cli/compare/facts.h"
#include "cli/compare/unified_diff.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/trial_state.h"
#include "libsysdb/sysdb_file.h"

constexpr char kNoFile[] = "/dev/null";

namespace {

struct DiffOptions {
  std::string file = active_configuration();  // "-" is standard input
  std::string other;  // the newer one; if empty, `file` is compared with the active configuration
  DryRunOptions dry_run;
};

struct Differences {
  std::string text;
  std::vector<ChangedFile> files;
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

// There is nothing to compare the commands of the run with.
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
  return SecretMask().masked(result.standard_error) + printable(dry_run.source.name) + ": the run " + how +
         "; see `lanfab preview -v`";
}

// One mask for both sides: a key that changes gets another number.
static void hide_secrets(FilesByPath& before, FilesByPath& after) {
  SecretMask mask;
  for (FilesByPath* files : {&before, &after})
    for (auto& [path, file] : *files)
      mask.hide_in(file);
}

// The path as patch(1) reads it: in quotes, and with octal numbers for bytes, if not all of it is printable.
static std::string quoted_if_needed(const std::string& path) {
  if (printable(path) == path) return path;
  std::string quoted = "\"";
  for (const char c : path) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\%03o", static_cast<unsigned>(static_cast<unsigned char>(c)));
    const bool is_plain = c > ' ' && c <= '~' && c != '"' && c != '\\';
    quoted += is_plain ? std::string(1, c) : escape;
  }
  return quoted + "\"";
}

static UnifiedDiff difference_of(const std::string& path, const File* before, const File* after) {
  const std::string name = quoted_if_needed(path);
  const std::string old_name = before != nullptr ? name : kNoFile;
  const std::string new_name = after != nullptr ? name : kNoFile;
  UnifiedDiff difference = unified_diff(old_name, before != nullptr ? before->content : "", new_name,
                                        after != nullptr ? after->content : "");
  if (before == nullptr || after == nullptr || before->mode == after->mode) return difference;
  char modes[64];
  std::snprintf(modes, sizeof modes, "mode %04o becomes %04o: ", static_cast<unsigned>(before->mode),
                static_cast<unsigned>(after->mode));
  difference.text = modes + name + "\n" + difference.text;
  return difference;
}

// The difference without the two lines that name the files.
static std::string hunks_of(const std::string& difference) {
  const std::size_t begin = difference.find("\n@@");
  return begin == std::string::npos ? std::string() : difference.substr(begin);
}

static const File* file_at(const FilesByPath& files, const std::string& path) {
  const auto found = files.find(path);
  return found != files.end() ? &found->second : nullptr;
}

static bool has_equal_content(const File* file, const File* other) {
  if (file == nullptr || other == nullptr) return file == other;
  return file->content == other->content;
}

// One file after the other, and the commands behind them. Of two files with the same hunks, such as a file
// and what it is copied from, the second is only named, and a copy adds no changed lines.
static Differences find_differences(const FilesByPath& before, const FilesByPath& after) {
  FilesByPath both = before;
  both.insert(after.begin(), after.end());
  Differences differences;
  std::map<std::string, std::string> shown;
  for (const auto& [path, any] : both) {
    const File* old_file = file_at(before, path);
    const File* new_file = file_at(after, path);
    const UnifiedDiff difference = difference_of(path, old_file, new_file);
    const auto [first, is_new] = shown.emplace(hunks_of(difference.text), path);
    const bool is_repeated = !is_new && !first->first.empty();
    if (path == kCommands && !differences.text.empty() && !difference.text.empty()) differences.text += "\n";
    differences.text +=
        is_repeated ? quoted_if_needed(path) + " differs as " + quoted_if_needed(first->second) + " does\n"
                    : difference.text;
    const bool is_copy = is_repeated && has_equal_content(old_file, file_at(before, first->second)) &&
                         has_equal_content(new_file, file_at(after, first->second));
    if (!is_copy) differences.files.push_back({path, difference.removed, difference.added});
  }
  return differences;
}

static std::string summary_of(const FilesByPath& before, const FilesByPath& after,
                              const Differences& differences) {
  std::string text;
  for (const std::string& sentence : change_summary(read_facts(before), read_facts(after), differences.files))
    text += printable(sentence) + "\n";
  return text;
}

// Prints the change summary, the differences of the files and those of the commands. Returns the exit
// status: 0 when there is no difference, 1 when there is one, 2 when a run fails or there is no result.
static int diff(const DiffOptions& options) {
  DryRun first;
  DryRun second;
  if (const auto trouble = run(options.file, options.dry_run, first)) return fail(*trouble);
  const bool has_other = !options.other.empty();
  if (has_other) {
    if (const auto trouble = run(options.other, options.dry_run, second)) return fail(*trouble);
  }
  FilesByPath before = has_other ? files_after(first) : files_before(first);
  FilesByPath after = files_after(has_other ? second : first);
  hide_secrets(before, after);

  const Differences differences = find_differences(before, after);
  std::string text = summary_of(before, after, differences);
  if (!text.empty() && !differences.text.empty()) text += "\n";
  text += differences.text;
  // Elsewhere it may be a patch, whose lines must stay as they are.
  if (is_terminal(STDOUT_FILENO)) text = printable(text, "\t\n");
  std::fwrite(text.data(), 1, text.size(), stdout);
  return text.empty() ? 0 : 1;
}

std::optional<std::string> show_changes(const Source& source) {
  DryRun dry_run;
  if (auto trouble = run(source, DryRunOptions(), dry_run)) return trouble;
  const FilesByPath before = files_before(dry_run);
  const FilesByPath after = files_after(dry_run);
  std::fputs(summary_of(before, after, find_differences(before, after)).c_str(), stdout);
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
