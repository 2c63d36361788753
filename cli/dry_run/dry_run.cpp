#include "cli/dry_run/dry_run.h"

#include <algorithm>
#include <utility>

#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/dry_run/limits.h"
#include "cli/dry_run/sandbox.h"

constexpr char kProgram[] = "cmd_lanfab";

std::optional<std::string> find_program() {
  const std::string path = own_program();
  const std::string directory = path.substr(0, path.find_last_of('/'));
  for (const char* relative : {"/", "/../"})
    if (auto program = absolute_program(directory + relative + kProgram)) return program;
  return find_in_path(kProgram);
}

static void replace_all(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
}

std::optional<std::string> make_dry_run(Source source, const DryRunOptions& options, DryRun& dry_run) {
  dry_run.source = std::move(source);
  if (auto error = allow_open_files()) return "lanfab: " + *error;
  const auto program = options.program.empty() ? find_program() : absolute_program(options.program);
  if (!program) {
    if (!options.program.empty()) return with_errno(options.program);
    return std::string("lanfab: ") + kProgram + " is neither beside this program nor in PATH";
  }
  if (auto error = make_initial_state(options.cell, dry_run.initial_state)) return error;
  DryRunResult& result = dry_run.result;
  const SandboxRun run{*program, options.action, dry_run.source.text, dry_run.initial_state, options.seconds};
  if (auto error = run_in_sandbox(run, result)) return "lanfab: " + *error;
  const std::string name = printable(dry_run.source.name);
  replace_all(result.standard_error, kSandboxConfigurationFile, name);
  for (Message& message : result.messages)
    replace_all(message.text, kSandboxConfigurationFile, name);
  return std::nullopt;
}

std::string without_proc_errors(const std::string& standard_error) {
  std::string rest;
  for (std::size_t begin = 0; begin < standard_error.size();) {
    const std::size_t end = std::min(standard_error.find('\n', begin), standard_error.size() - 1) + 1;
    const std::string line = standard_error.substr(begin, end - begin);
    const bool is_shell = line.compare(0, 4, "sh: ") == 0 || line.compare(0, 9, "/bin/sh: ") == 0;
    if (!is_shell || line.find("/proc/sys/") == std::string::npos) rest += line;
    begin = end;
  }
  return rest;
}
