#pragma once

// What `lanfab try`, `confirm` and `revert` need of the machine, and how they keep out of each other's way.

#include <optional>
#include <string>

// Below /run: a reboot ends every trial.
inline constexpr char kStateDirectory[] = "/run/lanfab";

// Makes the state directory and steps into the file system that the services see: a mount made in a session
// of its own would not reach them. Returns nothing, or why this process cannot change the gateway.
std::optional<std::string> enter_system();

// This program's own file, which the timer starts.
std::string own_program();

// Held while the state of a trial is changed, which takes moments. It goes with the process.
class StateLock {
 public:
  StateLock();
  StateLock(const StateLock&) = delete;
  StateLock& operator=(const StateLock&) = delete;
  ~StateLock();

 private:
  int directory_;
};
