#pragma once

// An entry of the history, and the text of its file: a line with the format and the SHA-256 of what follows,
// a line each for the time, the person and the comment, an empty one, and the configuration as it was.

#include <cstdint>
#include <string>

struct HistoryEntry {
  std::int64_t number = 0;  // the first one is 1; none is used twice
  std::int64_t time = 0;    // seconds since 1970
  std::string who;          // as of caller()
  std::string comment;      // may be empty
  std::string configuration;
  std::string damage = {};  // why the rest is not known; empty if it is
};

// Control characters in `who` and `comment` are replaced: each has one line.
std::string file_text(const HistoryEntry& entry);

// Sets everything but the number. False if the text is not what file_text() has written.
bool read_file_text(const std::string& text, HistoryEntry& entry);
