// `lanfab preview`: shows the files and commands of a dry run.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <map>

#include "cli/base/output.h"
#include "cli/base/secrets.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/commands/commands.h"
#include "cli/dry_run/dry_run.h"
#include "cli/live/trial_state.h"

namespace {

struct PreviewOptions {
  std::string file = active_configuration();  // "-" is standard input
  DryRunOptions dry_run;
  std::string directory;  // where to write the files; if empty, they are printed
  bool json = false;
  bool messages = false;  // also show messages to the system log
};

}  // namespace

constexpr mode_t kUsualMode = 0644;

// Names of syslog's priorities, by number.
constexpr const char* kPriorities[] = {"emerg", "alert", "crit", "err", "warning", "notice", "info", "debug"};

static void print_heading(const std::string& text) {
  std::printf("==> %s <==\n", printable(text).c_str());
}

static void print_text(const std::string& text) {
  std::fputs(printable(text, "\t\n").c_str(), stdout);
  if (!text.empty() && text.back() != '\n') std::fputs("\n(no newline at the end)\n", stdout);
  std::fputs("\n", stdout);
}

static std::string heading_of(const File& file) {
  if (file.mode == kUsualMode) return file.path;
  char mode[16];
  std::snprintf(mode, sizeof mode, " (mode %04o)", static_cast<unsigned>(file.mode));
  return file.path + mode;
}

// Prints every file that the run wrote. If a file has the same content as an earlier one, such as its copy,
// the name of the earlier one is printed instead of the content.
static void print_files(const DryRunResult& result) {
  std::map<std::string, std::string> shown;
  for (const auto& [file, change] : result.files) {
    if (change != Change::kWritten) continue;
    const auto [first, is_new] = shown.emplace(file.content, file.path);
    print_heading(heading_of(file));
    if (is_new || file.content.empty()) {
      print_text(file.content);
    } else {
      std::printf("(the same as %s)\n\n", printable(first->second).c_str());
    }
  }
}

static void print_names(const char* heading, const std::vector<std::string>& names) {
  if (names.empty()) return;
  print_heading(heading);
  for (const std::string& name : names)
    std::printf("%s\n", printable(name).c_str());
  std::printf("\n");
}

static std::vector<std::string> names_with(Change change, const DryRunResult& result) {
  std::vector<std::string> names;
  for (const ResultFile& file : result.files)
    if (file.change == change) names.push_back(file.file.path);
  return names;
}

static void print_result(const DryRunResult& result, const PreviewOptions& options) {
  if (options.directory.empty()) {
    print_files(result);
  } else {
    print_names("written", names_with(Change::kWritten, result));
  }
  print_names("unchanged", names_with(Change::kUnchanged, result));
  print_names("removed", result.removed);
  std::vector<std::string> lines;
  for (const auto& [key, value] : result.database)
    lines.push_back(std::string(key).append(" = ").append(value));
  print_names("system database", lines);
  lines.clear();
  for (const std::vector<std::string>& command : result.commands)
    lines.push_back(joined(command));
  print_names("commands", lines);
  lines.clear();
  for (const auto& [priority, text] : result.messages)
    lines.push_back(std::string(kPriorities[priority]) + " " +
                    text.substr(0, text.find_last_not_of('\n') + 1));
  if (options.messages) print_names("messages", lines);
  if (!result.standard_output.empty()) {
    print_heading("standard output");
    print_text(result.standard_output);
  }
  if (result.status < 0) {
    std::printf("ended by signal %d (%s)\n", -result.status, strsignal(-result.status));
  } else {
    std::printf("exit status %d\n", result.status);
  }
}

static Json::Value json_of(const std::vector<std::string>& texts) {
  Json::Value list(Json::arrayValue);
  for (const std::string& text : texts)
    list.append(text);
  return list;
}

static Json::Value json_of(const ResultFile& one) {
  char mode[8];
  std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(one.file.mode));
  Json::Value value(Json::objectValue);
  value["path"] = one.file.path;
  value["mode"] = mode;
  value["change"] = one.change == Change::kUnchanged ? "unchanged" : "written";
  value["content"] = one.file.content;
  return value;
}

static void print_json(const DryRunResult& result) {
  Json::Value root(Json::objectValue);
  root["status"] = result.status;
  root["files"] = Json::arrayValue;
  for (const ResultFile& file : result.files)
    if (file.change != Change::kUntouched) root["files"].append(json_of(file));
  root["removed"] = json_of(result.removed);
  root["commands"] = Json::arrayValue;
  for (const std::vector<std::string>& command : result.commands)
    root["commands"].append(json_of(command));
  root["messages"] = Json::arrayValue;
  for (const auto& [priority, text] : result.messages) {
    Json::Value message(Json::objectValue);
    message["priority"] = kPriorities[priority];
    message["text"] = text;
    root["messages"].append(message);
  }
  root["database"] = Json::objectValue;
  for (const auto& [key, value] : result.database)
    root["database"][key] = value;
  root["stdout"] = result.standard_output;
  root["stderr"] = result.standard_error;
  std::printf("%s\n", Json::writeString(Json::StreamWriterBuilder(), root).c_str());
}

// One mask for all output, so that each occurrence of a key gets the same number.
static void hide_secrets(DryRunResult& result) {
  SecretMask mask;
  for (ResultFile& file : result.files)
    mask.hide_in(file.file);
  for (auto& [key, value] : result.database)
    value = mask.masked(value);
  for (std::vector<std::string>& command : result.commands)
    for (std::string& word : command)
      word = mask.masked(word);
  for (Message& message : result.messages)
    message.text = mask.masked(message.text);
  for (std::string* output : {&result.standard_output, &result.standard_error})
    *output = mask.masked(*output);
}

static std::vector<File> files_of(const DryRunResult& result) {
  std::vector<File> files;
  for (const auto& [file, change] : result.files)
    if (change != Change::kUntouched) files.push_back(file);
  return files;
}

// Makes a dry run and prints its result. Returns the exit status: 0 if the run succeeds, 1 if it fails, 2
// on any other failure.
static int preview(const PreviewOptions& options) {
  OutputDirectory directory(options.directory);
  const bool has_directory = !options.directory.empty();
  if (has_directory) {
    if (const auto error = directory.open()) return fail(*error);
  }
  Source source;
  if (const auto failure = load_source(options.file, source)) return fail(failure->message);
  DryRun dry_run;
  if (const auto error = make_dry_run(std::move(source), options.dry_run, dry_run)) return fail(*error);
  DryRunResult& result = dry_run.result;
  if (has_directory) {
    if (const auto error = directory.write(files_of(result))) return fail(*error);
  }
  hide_secrets(result);
  if (options.json) {
    print_json(result);
  } else {
    print_result(result, options);
    const std::string& errors = result.standard_error;
    std::fputs(printable(options.messages ? errors : without_proc_errors(errors), "\t\n").c_str(), stderr);
  }
  return result.status == 0 ? 0 : 1;
}

Command preview_command() {
  static PreviewOptions options;
  return {"preview",
          "Show the files and commands of a run",
          {file_option(options.file),
           action_option(options.dry_run.action),
           cell_option(options.dry_run.cell),
           program_option(options.dry_run.program),
           {"-o DIRECTORY", "write the files below this directory, which must be empty", &options.directory,
            Completion::kDirectory},
           json_option(options.json),
           {"-v", "also show the messages to the system log and all errors", &options.messages}},
          "Example: lanfab preview network.json --cell down",
          [] { return preview(options); }};
}
