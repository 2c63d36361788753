#include "cli/base/subprocess.h"

#include <limits.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/terminal.h"

std::optional<std::string> absolute_program(const std::string& path) {
  char absolute[PATH_MAX];
  if (realpath(path.c_str(), absolute) == nullptr || access(absolute, X_OK) != 0) return std::nullopt;
  return absolute;
}

void replace_path_of_root() {
  if (geteuid() == 0) setenv("PATH", kSystemPath, 1);
}

std::optional<std::string> find_in_path(const std::string& name) {
  const char* path = std::getenv("PATH");
  std::istringstream directories(std::string(path != nullptr ? path : "") + ":" + kSystemPath);
  for (std::string directory; std::getline(directories, directory, ':');) {
    if (auto program = absolute_program(directory.append("/").append(name))) return program;
    // After any other error the program may exist in this directory: one found later might not be the
    // program that PATH selects.
    if (errno != ENOENT && errno != ENOTDIR && errno != EACCES) return std::nullopt;
  }
  errno = ENOENT;
  return std::nullopt;
}

std::string own_program() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error);
}

static std::vector<char*> null_terminated(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words)
    pointers.push_back(const_cast<char*>(word.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

pid_t start(const Subprocess& subprocess) {
  const auto program =
      subprocess.program.empty() ? find_in_path(subprocess.command.front()) : subprocess.program;
  if (!program) return -1;
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  int error = 0;
  int stream = STDIN_FILENO;
  for (const int source : {subprocess.input, subprocess.output, subprocess.errors})
    error = std::max(error, posix_spawn_file_actions_adddup2(&files, source, stream++));
  posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
  // The child must not inherit that this program ignores SIGPIPE.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t pipe_signal;
  sigemptyset(&pipe_signal);
  sigaddset(&pipe_signal, SIGPIPE);
  posix_spawnattr_setsigdefault(&attributes, &pipe_signal);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  const std::vector<char*> argv = null_terminated(subprocess.command);
  const std::vector<char*> environment = null_terminated(subprocess.environment);
  pid_t process = -1;
  if (error == 0) {
    error = posix_spawn(&process, program->c_str(), &files, &attributes, argv.data(),
                        subprocess.environment.empty() ? environ : environment.data());
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  errno = error;
  return error == 0 ? process : -1;
}

int wait_for_child(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}

// Waits for the child for at most this many seconds. Returns whether it has ended, and sets its wait
// status. The end of a traced child is visible before its status can be collected; waits for the status,
// too.
static bool has_ended(pid_t process, int seconds, int& status) {
  const Descriptor child(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  pollfd end{child.number(), POLLIN, 0};
  if (child.is_open() && poll(&end, 1, seconds * 1000) == 0) return false;
  status = wait_for_child(process);
  return true;
}

// Returns the wait status, or kills the child at its time limit and returns -1 with errno set. Waits for a
// killed child for one second only, since a device may block it for longer.
static int wait_or_kill(pid_t process, int seconds) {
  int status = 0;
  if (has_ended(process, seconds, status)) return status;
  kill(process, SIGKILL);
  has_ended(process, 1, status);
  errno = ETIMEDOUT;
  return -1;
}

int run(const Subprocess& subprocess) {
  const pid_t process = start(subprocess);
  if (process < 0) return -1;
  return subprocess.seconds == 0 ? wait_for_child(process) : wait_or_kill(process, subprocess.seconds);
}

std::optional<std::string> missing_status(const std::string& name, int wait_status) {
  if (wait_status < 0 && errno == ETIMEDOUT) return printable(name) + ": no answer within the time limit";
  if (wait_status < 0) return with_errno(name);
  if (WIFSIGNALED(wait_status)) return printable(name) + ": " + strsignal(WTERMSIG(wait_status));
  return std::nullopt;
}

bool succeeds(const std::vector<std::string>& command, const std::string& program) {
  const int status = run({command, program});
  const int signal = status > 0 && WIFSIGNALED(status) ? WTERMSIG(status) : 0;
  if (signal == SIGINT || signal == SIGQUIT) raise(signal);
  return status == 0;
}

bool succeeds_within(int seconds, const std::vector<std::string>& command) {
  Subprocess subprocess{command};
  subprocess.seconds = seconds;
  return run(subprocess) == 0;
}

std::optional<std::string> capture(const std::vector<std::string>& command, std::string& output,
                                   int seconds) {
  const std::string& name = command.front();
  const MemoryFile answer;
  const MemoryFile errors;
  if (answer.number() < 0 || errors.number() < 0) return with_errno(name);
  Subprocess subprocess{command};
  subprocess.output = answer.number();
  subprocess.errors = errors.number();
  subprocess.seconds = seconds;
  const int status = run(subprocess);
  if (auto error = missing_status(name, status)) return error;
  output = answer.content();
  if (WEXITSTATUS(status) == 0) return std::nullopt;
  const std::string message = errors.content();
  const std::string line = message.substr(0, message.find('\n'));
  return name + ": " + (line.empty() ? "status " + std::to_string(WEXITSTATUS(status)) : line);
}
