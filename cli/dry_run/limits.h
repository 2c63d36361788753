#pragma once

// Limits of a run in the sandbox.

#include <cstddef>
#include <optional>
#include <string>

inline constexpr int kRunSeconds = 60;

// Counts the bytes of a run's output, log, commands, database and files together.
class Meter {
 public:
  // Throws std::runtime_error if the sum exceeds the limit.
  void add(std::size_t bytes);

  // Raises the limit by the number of bytes that existed before the run.
  void allow(std::size_t bytes) {
    left_ += bytes;
  }

 private:
  std::size_t left_ = 64'000'000;
};

// Raises the limit of open files for this process and its children to the usual limit of a service. Returns
// nullopt, or an error message if the limit is too low for a run, whose result would then be incomplete.
std::optional<std::string> allow_open_files();
