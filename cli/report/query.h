#pragma once

// Where the texts of a report come from: other programs and files, neither of which may take long or be
// large.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

struct Query {
  std::vector<std::string> command;  // a program's name, or its absolute path, and its arguments
  int seconds = 2;                   // after which it is given up
};

// The most that is taken of an answer or a file, in bytes; what is behind that is left out.
inline constexpr std::size_t kLargestText = 4'000'000;

// Runs a command and appends what it prints. Returns nothing, or why the answer is missing or not whole: a
// command that fails and says why, for example.
std::optional<std::string> run_query(const Query& query, std::string& text);

// Reads a regular file, which is not waited for. Returns nothing, or why it is missing or not whole: errno is
// ENOENT if there is none.
std::optional<std::string> read_beginning(const std::string& path, std::string& text);
