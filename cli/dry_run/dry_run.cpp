#include "cli/dry_run/dry_run.h"

#include <utility>

#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/dry_run/sandbox.h"

constexpr char kProgram[] = "cmd_lanfab";

std::optional<std::string> find_program() {
  const std::string path = own_program();
  const std::string directory = path.substr(0, path.find_last_of('/'));
  for (const char* place : {"/", "/../"})
    if (auto program = absolute_program(directory + place + kProgram)) return program;
  return find_in_path(kProgram);
}

static void replace_all(std::string& text, const std::string& from, const std::string& to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
}

std::optional<std::string> try_out(const std::string& file, const TrialOptions& options, Trial& trial) {
  Source source;
  if (auto trouble = read_source(file, source)) return trouble;
  return try_out(std::move(source), options, trial);
}

std::optional<std::string> try_out(Source source, const TrialOptions& options, Trial& trial) {
  trial.source = std::move(source);
  const auto program = options.program.empty() ? find_program() : absolute_program(options.program);
  if (!program) {
    if (!options.program.empty()) return with_errno(options.program);
    return std::string("lanfab: ") + kProgram + " is neither beside this program nor in PATH";
  }
  if (auto trouble = make_start(options.cell, trial.start)) return trouble;
  Outcome& outcome = trial.outcome;
  if (auto trouble = run_in_world({*program, options.action, trial.source.text, trial.start}, outcome)) {
    return "lanfab: " + *trouble;
  }
  replace_all(outcome.standard_error, kConfigurationInWorld, trial.source.name);
  for (Message& message : outcome.messages)
    replace_all(message.text, kConfigurationInWorld, trial.source.name);
  return std::nullopt;
}
