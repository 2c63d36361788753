#pragma once

// What a run of cmd_lanfab does, as a world reports it, and how that travels from there.

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
  kKept,       // the run left it alone
  kRewritten,  // with what it had held before
  kWritten,    // new, or with another content or mode
};

struct OutcomeFile {
  File file;
  Change change;
};

struct Outcome {
  int status = 0;                  // the exit status; a signal's number below zero
  std::vector<OutcomeFile> files;  // all that are there afterwards, by path, but the database
  std::vector<std::string> removed;
  std::vector<std::vector<std::string>> commands;
  std::vector<Message> messages;
  // The system database: KEY, or DATABASE/KEY, and value.
  std::vector<std::pair<std::string, std::string>> database;
  std::string standard_output;
  std::string standard_error;
};

// Why there is no outcome: what failed, and errno.
struct Trouble {
  std::string what;
  int error = 0;
  bool is_in_the_making = false;  // before there was a world
};

// The bytes for the pipe: records that each begin with their length.
std::string encode(const Outcome& outcome);
std::string encode(const Trouble& trouble);

// Reads either from all bytes that came. Returns nothing and fills `outcome`, or the trouble; bytes that end
// too early are trouble, too.
std::optional<Trouble> decode(const std::string& bytes, Outcome& outcome);
