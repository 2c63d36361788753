#pragma once

#include <csignal>
#include <initializer_list>

// Blocks signals, all of them or those listed, until the end of the scope.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigfillset(&set);
    sigprocmask(SIG_BLOCK, &set, &former_);
  }
  explicit BlockedSignals(std::initializer_list<int> signals) {
    sigemptyset(&set);
    for (const int signal : signals)
      sigaddset(&set, signal);
    sigprocmask(SIG_BLOCK, &set, &former_);
  }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals() {
    sigprocmask(SIG_SETMASK, &former_, nullptr);
  }

  sigset_t set{};

 private:
  sigset_t former_{};
};
