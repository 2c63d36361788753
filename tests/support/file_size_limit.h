#pragma once

// Simulates a full disk: during its lifetime, no file of this process grows beyond `bytes`. Data within the
// limit is written.

#include <sys/resource.h>

#include <csignal>

class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : former_handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &former_);
    const rlimit limit{bytes, former_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &former_);
    std::signal(SIGXFSZ, former_handler_);
  }

 private:
  rlimit former_{};
  void (*former_handler_)(int);
};
