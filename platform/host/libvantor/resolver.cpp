#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include "platform/libvantor.h"
#include "report.h"

// Time limit: other runs wait while this one waits for a name server.
constexpr unsigned kTimeLimitSeconds = 2;

namespace {

struct FreeAddresses {
  void operator()(addrinfo* addresses) const {
    freeaddrinfo(addresses);
  }
};

}  // namespace

// Returns the first IPv4 address of `name`.
static bool look_up(const char* name, in_addr& address) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &found) != 0) return false;
  const std::unique_ptr<addrinfo, FreeAddresses> owner(found);
  address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr;
  return true;
}

// Blocks all signals, which the parent process handles, except the alarm, which ends this process.
static void set_time_limit() {
  sigset_t others;
  sigfillset(&others);
  sigdelset(&others, SIGALRM);
  sigprocmask(SIG_SETMASK, &others, nullptr);
  signal(SIGALRM, SIG_DFL);
  alarm(kTimeLimitSeconds);
}

// Looks up the name and writes its address to the pipe; writes nothing if it has none. The exit status is the
// error of the write.
[[noreturn]] static void answer(const char* name, int pipe_end) {
  set_time_limit();
  in_addr address{};
  if (!look_up(name, address)) _exit(0);
  _exit(write(pipe_end, &address, sizeof address) == sizeof address ? 0 : errno);
}

// Returns the exit status of the process; 0 if it was killed.
static int wait_for(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 0;
}

// Results of a lookup other than an error.
constexpr int kAnswered = 0;
constexpr int kNoAddress = -1;

// Returns kAnswered, with the address, kNoAddress or an error.
static int read_answer(int pipe_end, in_addr& address) {
  ssize_t size = -1;
  do {
    size = read(pipe_end, &address, sizeof address);
  } while (size < 0 && errno == EINTR);
  if (size == sizeof address) return kAnswered;
  if (size < 0) return errno;
  return size == 0 ? kNoAddress : EIO;
}

// Looks up the name in another process: the library's resolver waits longer for silent name servers than a
// run may take. The result is that of read_answer.
static int look_up_in_time(const char* name, in_addr& address) {
  int pipe_ends[2];
  if (pipe2(pipe_ends, O_CLOEXEC) != 0) return errno;
  const pid_t child = fork();
  if (child == 0) answer(name, pipe_ends[1]);
  int result = errno;
  close(pipe_ends[1]);
  if (child > 0) {
    result = read_answer(pipe_ends[0], address);
    const int error = wait_for(child);
    if (result == kNoAddress && error != 0) result = error;
  }
  close(pipe_ends[0]);
  return result;
}

// A dotted address resolves to itself. A name without an address is not a failure worth logging.
static bool find_address(const char* name, in_addr& address) {
  if (inet_pton(AF_INET, name, &address) == 1) return true;
  const int result = look_up_in_time(name, address);
  if (result != kAnswered && result != kNoAddress) report_failure("look up", name, result);
  return result == kAnswered;
}

int domain_ip_to_ip_str(const char* name, char* buffer, int size, int, int) {
  buffer[0] = '\0';
  in_addr address{};
  if (!find_address(name, address)) return -1;
  char text[INET_ADDRSTRLEN];
  inet_ntop(AF_INET, &address, text, sizeof text);
  const std::size_t length = std::strlen(text);
  if (size < 0 || length > static_cast<std::size_t>(size)) return -1;
  std::memcpy(buffer, text, length + 1);
  return 0;
}
