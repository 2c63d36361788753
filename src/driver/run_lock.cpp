#include "driver/run_lock.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "driver/run_lock_guard.h"
#include "platform/libvantor.h"

// SIGABRT ends a run after a fatal error, SIGXFSZ a run with a file size limit.
constexpr std::array<int, 6> kEndingSignals = {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGABRT, SIGXFSZ};

namespace {

// Blocks the terminating signals while the lock file and their handlers are changed.
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
  // The default action is restored, and the signal is delivered when this function returns.
  raise(signal);
}

}  // extern "C"

// Keeps a signal ignored that the caller ignored.
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

// Creates the lock file if touch could not be run, or was killed together with this process.
static void make_lock_file() {
  const int file = open(kLockFile, O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
  if (file >= 0) {
    close(file);
  } else {
    syslog(LOG_ERR, "error opening %s: other runs will not wait for this one", kLockFile);
  }
}

// A signal to the process group may kill the shell but not its touch, which would create the lock file after
// this process has removed it. As a subreaper, this process waits for touch.
static void touch_lock_file() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  if (qelsys("/bin/touch %s", kLockFile) != 0) {
    while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {
    }
    make_lock_file();
  }
  prctl(PR_SET_CHILD_SUBREAPER, 0);
}

// Acquires the lock; returns whether it was free.
static bool try_run_lock() {
  const EndingSignalsBlocked signals;
  const RunLockGuard guard;
  if (file_exists(kLockFile)) return false;
  syslog(LOG_NOTICE, "cmd_lanfab set lock");
  touch_lock_file();
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
