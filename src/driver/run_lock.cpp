#include "driver/run_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "platform/libvantor.h"

constexpr char kLockDirectory[] = "/var/run";
constexpr std::array<int, 3> kEndingSignals = {SIGTERM, SIGINT, SIGHUP};

namespace {

// Keeps other runs from testing and taking the lock at the same time: the lock file takes two steps. Without
// the directory there is nothing to hold on to, and the steps stand alone.
class DirectoryLock {
 public:
  DirectoryLock() : directory_(open(kLockDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    while (directory_ >= 0 && flock(directory_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;
  ~DirectoryLock() {
    if (directory_ >= 0) ::close(directory_);
  }

 private:
  int directory_;
};

// Holds the ending signals back while the lock file and what they do about it are changed.
class EndingSignalsBlocked {
 public:
  EndingSignalsBlocked() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : kEndingSignals)
      sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, &former_);
  }
  EndingSignalsBlocked(const EndingSignalsBlocked&) = delete;
  EndingSignalsBlocked& operator=(const EndingSignalsBlocked&) = delete;
  ~EndingSignalsBlocked() {
    sigprocmask(SIG_SETMASK, &former_, nullptr);
  }

 private:
  sigset_t former_{};
};

}  // namespace

extern "C" {

static void remove_lock_and_end(int signal) {
  unlink(kLockFile);
  // The signal has its default effect again, and comes once this function returns.
  raise(signal);
}

}  // extern "C"

// A signal that the caller had ignored stays ignored.
static void handle_ending_signals(void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : kEndingSignals) {
    struct sigaction present {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
}

// Whether the lock was free.
static bool try_run_lock() {
  const DirectoryLock directory;
  if (file_exists(kLockFile)) return false;
  const EndingSignalsBlocked signals;
  syslog(LOG_NOTICE, "cmd_lanfab set lock");
  qelsys("/bin/touch %s", kLockFile);
  handle_ending_signals(remove_lock_and_end);
  return true;
}

void take_run_lock() {
  while (!try_run_lock()) {
    syslog(LOG_NOTICE, "cmd_lanfab is locked, waiting");
    sleep(1);
  }
}

void release_run_lock() {
  syslog(LOG_NOTICE, "cmd_lanfab clear lock");
  const EndingSignalsBlocked signals;
  delete_file(kLockFile);
  handle_ending_signals(SIG_DFL);
}
