#pragma once

// Reads the output of programs and the content of files for a report, with limits on time and size.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

struct Query {
  std::vector<std::string> command;  // a program's name, or its absolute path, and its arguments
  int seconds = 2;                   // time limit, after which the command is killed
};

// Maximum size of a command's output or of a file, in bytes. The rest is omitted.
inline constexpr std::size_t kLargestText = 4'000'000;

// Runs a command and appends its standard output. Returns nothing on success; otherwise an error message if
// the output is missing or incomplete, or if the command fails and prints an error.
std::optional<std::string> run_query(const Query& query, std::string& text);

// Reads the beginning of a regular file, without waiting for data. Returns nothing if it is complete;
// otherwise an error message, with errno ENOENT if the file does not exist.
std::optional<std::string> read_beginning(const std::string& path, std::string& text);
