#pragma once

// What a run in the sandbox may use up.

#include <cstddef>
#include <optional>
#include <string>

inline constexpr int kRunSeconds = 60;

// Counts the bytes of a run's output, log, commands, database and files together.
class Meter {
 public:
  // Throws std::runtime_error when it is more than a run may have.
  void add(std::size_t bytes);

  // Bytes that were there before the run.
  void allow(std::size_t bytes) {
    left_ += bytes;
  }

 private:
  std::size_t left_ = 64'000'000;
};

// Lets this process and its children have as many open files as a service usually may. Returns nothing, or
// why there are too few for a run: it would be reported in part.
std::optional<std::string> allow_open_files();
