// stopwatch PROGRAM [ARGUMENT...]: runs the program and prints its own processor time and the elapsed time,
// in nanoseconds, and its peak memory in KiB. The output of the program is discarded; if the program fails,
// so does the stopwatch.
//
// The stopwatch is small and linked statically, because the peak memory of a process is at least the memory
// that its parent used when it started the process.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

[[noreturn]] static void fail(const char* what, int error) {
  std::fprintf(stderr, "stopwatch: %s: %s\n", what, std::strerror(error));
  std::exit(1);
}

static std::int64_t nanoseconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return time.tv_sec * INT64_C(1000000000) + time.tv_nsec;
}

static pid_t start(char* const command[]) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, STDOUT_FILENO, STDERR_FILENO);
  pid_t process = 0;
  const int error = posix_spawn(&process, command[0], &actions, nullptr, command, environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) fail(command[0], error);
  return process;
}

int main(int argc, char* argv[]) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: stopwatch PROGRAM [ARGUMENT...]\n");
    return 2;
  }
  const std::int64_t begin = nanoseconds(CLOCK_MONOTONIC);
  const pid_t process = start(argv + 1);
  // The process has exited but is not reaped: its own clock, which excludes its children, can still be read.
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOWAIT);
  const std::int64_t whole = nanoseconds(CLOCK_MONOTONIC) - begin;
  clockid_t clock = 0;
  clock_getcpuclockid(process, &clock);
  const std::int64_t own = nanoseconds(clock);
  int status = 0;
  rusage usage{};
  wait4(process, &status, 0, &usage);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "stopwatch: %s failed\n", argv[1]);
    return 1;
  }
  std::printf("%" PRId64 " %" PRId64 " %ld\n", own, whole, usage.ru_maxrss);
  return 0;
}
