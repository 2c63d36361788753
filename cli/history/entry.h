#pragma once

// An entry of the history, and its file: a line with the format and the SHA-256 of the rest, a line each
// for the time, the user and the comment, an empty line, and the unchanged configuration.

#include <cstdint>
#include <string>

struct HistoryEntry {
  std::int64_t number = 0;  // from 1; never reused
  std::int64_t time = 0;    // seconds since 1970
  std::string who;          // as caller() returns it
  std::string comment;      // may be empty
  std::string configuration;
  std::string damage = {};  // error message if the file is unreadable or corrupted; otherwise empty
};

// Text of the entry's file. Replaces control characters in `who` and `comment`, so that each of them is one
// line.
std::string file_text(const HistoryEntry& entry);

// Reads the text of an entry's file, and sets everything but the number. False if file_text() cannot have
// written this text.
bool read_file_text(const std::string& text, HistoryEntry& entry);
