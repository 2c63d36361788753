#pragma once

// History of the configurations that became active, one file each in a directory that belongs to root. At
// any moment, even after a power failure, a file is either complete or absent. A file is only needed to
// return to its configuration: a damaged one is reported as damaged, and has no other effect.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/history/entry.h"

struct HistoryLimits {
  std::size_t entries;
  std::size_t bytes;  // of all files together
};

class History {
 public:
  // The history of this machine. Its directory and limits are set when the program is built.
  History();
  History(const std::string& directory, const HistoryLimits& limits);

  // Reads all entries, the latest first; none if the directory does not exist. Returns nothing on success;
  // otherwise an error message.
  std::optional<std::string> read(std::vector<HistoryEntry>& entries) const;

  // Finds the entry with this number, which the user may have mistyped. Returns nothing on success;
  // otherwise an error message, also if the entry is damaged.
  std::optional<std::string> find(const std::string& number, HistoryEntry& entry) const;

  // Adds a configuration that has just become active, unless the latest entry has the same one, and removes
  // the oldest entries that exceed the limits. Returns nothing on success; otherwise an error message.
  std::optional<std::string> add(const std::string& configuration, const std::string& comment) const;

 private:
  HistoryEntry read_entry(std::int64_t number) const;
  bool write_entry(const HistoryEntry& entry) const;
  void remove_oldest(const std::vector<std::int64_t>& numbers) const;
  std::string path_of(std::int64_t number) const;

  std::string directory_;
  HistoryLimits limits_;
};

// Loads the configuration of the entry with this number. Returns nothing on success; otherwise an error
// message.
std::optional<std::string> load_from_history(const std::string& number, Source& source);

// Adds the configuration to the history. A failure is only reported: the network does not depend on the
// history.
void record_in_history(const std::string& configuration, const std::string& comment);
