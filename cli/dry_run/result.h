#pragma once

// The result of a dry run, and its encoding for the pipe from the sandbox.

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/base/file.h"

// A line of the system log; the priority is syslog's.
struct Message {
  int priority;
  std::string text;
};

// The effect of a run on a file.
enum class Change {
  kUntouched,  // the run did not write it
  kUnchanged,  // written with the same content and mode
  kWritten,    // created, or written with other content or another mode
};

struct ResultFile {
  File file;
  Change change;
};

struct DryRunResult {
  int status = 0;                 // the exit status, or the negated number of a signal
  std::vector<ResultFile> files;  // all files after the run, except for the database
  std::vector<std::string> removed;
  std::vector<std::vector<std::string>> commands;
  std::vector<Message> messages;
  // The new and changed entries of the system database: KEY or DATABASE/KEY, and value.
  std::vector<std::pair<std::string, std::string>> database;
  std::string standard_output;
  std::string standard_error;
  bool is_out_of_time = false;  // the run was stopped at its time limit; there is no result
};

// An error that prevented a result: what failed, and errno, or 0.
struct SandboxError {
  std::string what;
  int code = 0;
  bool is_in_setup = false;  // while the sandbox was being set up
};

// The bytes for the pipe, in which strings and lists begin with their lengths.
std::string encode(const DryRunResult& result);
std::string encode(const SandboxError& error);

// Decodes all bytes from the pipe. Fills `result` and returns nullopt, or returns the error. Truncated
// bytes are an error, too.
std::optional<SandboxError> decode(const std::string& bytes, DryRunResult& result);

// The pipe through which the first process of the sandbox reports the result to the process that created it.
class ResultPipe {
 public:
  explicit ResultPipe(int pipe) : pipe_(pipe) {}

  // Marks the end of the setup: later errors are not setup errors.
  void note_set_up() {
    is_set_up_ = true;
  }

  // These functions write the result or an error to the pipe, and end the process and with it the sandbox,
  // even if the pipe has no reader.
  [[noreturn]] void finish(const DryRunResult& result) const;
  [[noreturn]] void give_up(const std::string& what) const;  // with the error in errno
  [[noreturn]] void refuse(const std::string& why) const;

  // Gives up if a call failed; `what` names the call.
  void require(bool success, const std::string& what) const {
    if (!success) give_up(what);
  }

 private:
  int pipe_;
  bool is_set_up_ = false;
};
