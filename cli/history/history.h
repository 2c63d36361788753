#pragma once

// The configurations that came into effect, one file each in a directory of root's. Every file is whole or
// absent at any moment, power lost included. None is needed for anything but going back to it: a damaged one
// is shown as damaged, and does no other harm.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/config_file/source.h"
#include "cli/history/entry.h"

struct HistoryLimits {
  std::size_t entries;
  std::size_t bytes;  // of all files
};

class History {
 public:
  // That of this machine, as it was chosen when the program was built.
  History();
  History(const std::string& directory, const HistoryLimits& limits);

  // Reads all entries, the latest one first; without the directory there are none. Returns nothing, or why it
  // cannot be read.
  std::optional<std::string> read(std::vector<HistoryEntry>& entries) const;

  // Finds the entry with this number, which need not be one. Returns nothing, or why there is none that can
  // be used.
  std::optional<std::string> find(const std::string& number, HistoryEntry& entry) const;

  // Adds a configuration that has just come into effect, unless it is that of the latest entry, and removes
  // the oldest ones that are too many or too large. Returns nothing, or why it cannot be added.
  std::optional<std::string> add(const std::string& configuration, const std::string& comment) const;

 private:
  HistoryEntry read_entry(std::int64_t number) const;
  bool write_entry(const HistoryEntry& entry) const;
  void remove_oldest(const std::vector<std::int64_t>& numbers) const;
  std::string path_of(std::int64_t number) const;

  std::string directory_;
  HistoryLimits limits_;
};

// Loads the configuration of the entry with this number. Returns nothing, or why it cannot be examined.
std::optional<std::string> load_from_history(const std::string& number, Source& source);

// Adds the configuration to the history. A failure is only reported: the network does not depend on it.
void record_in_history(const std::string& configuration, const std::string& comment);
