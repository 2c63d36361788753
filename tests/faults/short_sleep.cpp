// Preloaded, makes each wait of a program one of a few milliseconds, so that runs that wait for each other
// take seconds. Only the length changes: a wait still lets others run.

#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

static void wait_shortly() {
  const timespec duration{0, 3'000'000};
  syscall(SYS_clock_nanosleep, CLOCK_MONOTONIC, 0, &duration, nullptr);
}

extern "C" unsigned sleep(unsigned /*seconds*/) {
  wait_shortly();
  return 0;
}

extern "C" int nanosleep(const timespec* /*duration*/, timespec* /*remaining*/) {
  wait_shortly();
  return 0;
}

extern "C" int clock_nanosleep(clockid_t /*clock*/, int /*flags*/, const timespec* /*duration*/,
                               timespec* /*remaining*/) {
  wait_shortly();
  return 0;
}
