#pragma once

#include <cstddef>
#include <string>
#include <vector>

// A line of a file that only one of two runs has.
struct ChangedLine {
  std::string path;
  std::string text;
};

// Checks what holds for the summary of any two sets of files: each sentence is one line, and only the last
// one may count changed lines: at most all of them, and exactly all of them if there is no other sentence.
// Returns the count.
std::size_t checked_count(const std::vector<std::string>& sentences, std::size_t changed);

// The changed lines that no sentence mentions, judged by the words of the sentences alone, and generously: a
// sentence about eth0 that has the value of a line mentions the line. Blank lines, comments and headings are
// left out.
std::vector<ChangedLine> unmentioned_lines(const std::vector<std::string>& sentences,
                                           const std::vector<ChangedLine>& lines);
