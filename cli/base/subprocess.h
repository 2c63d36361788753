#pragma once

// Other programs: finding them, starting them, and capturing their output.

#include <sys/types.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

// The absolute path of a program; nothing, with errno set, if `path` is not a program.
std::optional<std::string> absolute_program(const std::string& path);

// Where root's programs are, on every supported system.
inline constexpr char kSystemPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

// Makes root's PATH the one above, for this program and its children: the caller's may name directories to
// which others can write. Other users keep theirs.
void replace_path_of_root();

// Searches PATH, and then the directories of the system, which an ordinary user's PATH may lack.
std::optional<std::string> find_in_path(const std::string& name);

// The path of this program; empty if it cannot be read.
std::string own_program();

struct Subprocess {
  std::vector<std::string> command;
  // The file; if empty, find_in_path searches for the first word of the command.
  std::string program = {};
  std::vector<std::string> environment = {};  // if empty, this program's own
  int input = STDIN_FILENO;
  int output = STDOUT_FILENO;
  int errors = STDERR_FILENO;
  int seconds = 0;  // after which `run` kills it; 0: never
};

// Starts a program with these three streams only; it inherits the blocked signals. Returns its PID, or -1
// with errno set.
pid_t start(const Subprocess& subprocess);

// Starts a program and waits for it. Returns its wait status, or -1 with errno set: ETIMEDOUT if it was
// killed at its time limit.
int run(const Subprocess& subprocess);

// Waits for a child. Returns its wait status, or -1 with errno set.
int wait_for_child(pid_t process);

// Why there is no exit status: "dot: No such file or directory", "dot: Killed". Nothing if there is one.
std::optional<std::string> missing_status(const std::string& name, int wait_status);

// Runs a command in the foreground. Returns whether it exits with 0. Ctrl-C ends this process too, also if it
// only reached the command. `program` is as in Subprocess.
bool succeeds(const std::vector<std::string>& command, const std::string& program = "");

// Likewise, with a time limit in seconds: a command that still runs then is killed.
bool succeeds_within(int seconds, const std::vector<std::string>& command);

// Runs a command and captures its output. Returns nothing, or why there is no output: "ip: No such file or
// directory", or the first line that the command printed to standard error. `seconds` is as in Subprocess.
std::optional<std::string> capture(const std::vector<std::string>& command, std::string& output,
                                   int seconds = 0);
