#pragma once

// Finds and runs other programs, and captures their output.

#include <sys/types.h>
#include <unistd.h>

#include <optional>
#include <string>
#include <vector>

// The absolute path of a program; nothing, with errno set, if `path` is not an executable file.
std::optional<std::string> absolute_program(const std::string& path);

// Directories of root's programs, on every supported system.
inline constexpr char kSystemPath[] = "/usr/sbin:/usr/bin:/sbin:/bin";

// If the user is root, sets PATH to kSystemPath for this program and its children: the caller's PATH may
// include directories that others can write to.
void replace_path_of_root();

// Searches for a program in PATH, then in kSystemPath, since an ordinary user's PATH may lack some of these
// directories. Returns its absolute path; nothing, with errno set, if there is no such program.
std::optional<std::string> find_in_path(const std::string& name);

// The path of this program; empty if it is unknown.
std::string own_program();

// Time limit for a query of another program or of a server, in seconds.
inline constexpr int kQuerySeconds = 2;

struct Subprocess {
  std::vector<std::string> command;
  // Path of the program; if empty, find_in_path() searches for the first word of the command.
  std::string program = {};
  std::vector<std::string> environment = {};  // if empty, this program's own
  int input = STDIN_FILENO;
  int output = STDOUT_FILENO;
  int errors = STDERR_FILENO;
  int seconds = 0;  // time limit, at which run() kills it; 0: none
};

// Starts a program with only these three streams; it inherits the blocked signals. Returns its PID, or -1
// with errno set.
pid_t start(const Subprocess& subprocess);

// Starts a program and waits for it. Returns its wait status, or -1 with errno set: ETIMEDOUT if it was
// killed at its time limit.
int run(const Subprocess& subprocess);

// Waits for a child. Returns its wait status, or -1 with errno set.
int wait_for_child(pid_t process);

// Error message if there is no exit status: "dot: No such file or directory", "dot: Killed". Otherwise
// nothing. Uses errno if `wait_status` is -1.
std::optional<std::string> missing_status(const std::string& name, int wait_status);

// Runs a command in the foreground. Returns whether it exits with 0. Ctrl-C also ends this process, even if
// only the command received the signal. `program` is as in Subprocess.
bool succeeds(const std::vector<std::string>& command, const std::string& program = "");

// Runs a command and returns whether it exits with 0. A command that is still running after this many
// seconds is killed.
bool succeeds_within(int seconds, const std::vector<std::string>& command);

// Runs a command and captures its output. Returns nothing if it exits with 0; otherwise an error message:
// "ip: No such file or directory", or the first line of the command's standard error. `seconds` is as in
// Subprocess.
std::optional<std::string> capture(const std::vector<std::string>& command, std::string& output,
                                   int seconds = 0);
