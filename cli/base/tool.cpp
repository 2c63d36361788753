#include "cli/base/tool.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include "cli/base/memory_file.h"
#include "cli/base/programs.h"
#include "cli/base/wait.h"

// Returns the wait status; -1, with errno set, when the program cannot be run.
static int run(const std::string& program, const std::vector<std::string>& command, const MemoryFile& output,
               const MemoryFile& complaints) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, output.descriptor, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, complaints.descriptor, STDERR_FILENO);
  // This program holds signals back while it watches, and ignores the one of a reader that has gone.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  std::vector<char*> argv;
  argv.reserve(command.size() + 1);
  for (const std::string& word : command)
    argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  pid_t process = 0;
  errno = posix_spawn(&process, program.c_str(), &files, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return errno == 0 ? wait_for_child(process) : -1;
}

std::optional<std::string> ask(const std::vector<std::string>& command, std::string& output) {
  const std::string& name = command.front();
  const std::optional<std::string> program = find_in_path(name);
  if (!program) return name + ": " + std::strerror(ENOENT);
  const MemoryFile answer;
  const MemoryFile complaints;
  const int status = run(*program, command, answer, complaints);
  if (status < 0) return name + ": " + std::strerror(errno);
  if (WIFSIGNALED(status)) return name + ": " + strsignal(WTERMSIG(status));
  output = answer.content();
  if (WEXITSTATUS(status) == 0) return std::nullopt;
  const std::string complaint = complaints.content();
  const std::string reason = complaint.substr(0, complaint.find('\n'));
  return name + ": " + (reason.empty() ? "status " + std::to_string(WEXITSTATUS(status)) : reason);
}

bool parse_json(const std::string& text, Json::Value& value) {
  Json::CharReaderBuilder builder;
  // So that trouble is not thrown.
  builder["stackLimit"] = 100;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  return reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
}

std::optional<std::string> ask_json(const std::vector<std::string>& command, Json::Value& answer) {
  std::string output;
  if (auto trouble = ask(command, output)) return trouble;
  answer = Json::Value();
  // `ip` prints nothing when there is nothing of a kind.
  if (output.find_first_not_of(" \n") == std::string::npos || parse_json(output, answer)) return std::nullopt;
  return command.front() + ": what it prints is no JSON";
}
