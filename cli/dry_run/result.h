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

// What became of a file.
enum class Change {
  kUntouched,  // the run did not write it
  kUnchanged,  // written with the content that it had
  kWritten,    // created, or with another content or mode
};

struct ResultFile {
  File file;
  Change change;
};

struct DryRunResult {
  int status = 0;                 // the exit status; a signal's number below zero
  std::vector<ResultFile> files;  // all that are there afterwards, by path, but the database
  std::vector<std::string> removed;
  std::vector<std::vector<std::string>> commands;
  std::vector<Message> messages;
  // The system database: KEY, or DATABASE/KEY, and value.
  std::vector<std::pair<std::string, std::string>> database;
  std::string standard_output;
  std::string standard_error;
  bool is_out_of_time = false;  // the run was ended at its time limit: there is no result
};

// Why there is no result: what failed, and errno.
struct SandboxError {
  std::string what;
  int code = 0;
  bool is_in_setup = false;  // before there was a sandbox
};

// The bytes for the pipe: records that each begin with their length.
std::string encode(const DryRunResult& result);
std::string encode(const SandboxError& error);

// Reads either from all bytes that came. Returns nothing and fills `result`, or the error; bytes that end
// too early are an error, too.
std::optional<SandboxError> decode(const std::string& bytes, DryRunResult& result);

// The pipe by which the first process of the sandbox reports the result to its maker.
class ResultPipe {
 public:
  explicit ResultPipe(int pipe) : pipe_(pipe) {}

  // Errors from now on are not errors of the setup.
  void note_set_up() {
    is_set_up_ = true;
  }

  // Ends the process, and with it the sandbox. Without a reader it does the same.
  [[noreturn]] void finish(const DryRunResult& result) const;
  [[noreturn]] void give_up(const std::string& what) const;  // errno says why
  [[noreturn]] void refuse(const std::string& why) const;

  // Gives up unless the call that was to do `what` succeeded.
  void require(bool success, const std::string& what) const {
    if (!success) give_up(what);
  }

 private:
  int pipe_;
  bool is_set_up_ = false;
};
