#include "cli/live/reserve.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "cli/base/file.h"

constexpr char kReserve[] = "/run/lanfab/reserve";
constexpr char kEnd[] = "/run/lanfab/end";
constexpr char kFailed[] = "/run/lanfab/end.failed";

// The files of a run take a tenth of this on a large gateway. The rest is for the database and the journal,
// which grow meanwhile.
constexpr off_t kBytes = 1024 * 1024;

bool reserve_space() {
  const Descriptor reserve(open(kReserve, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!reserve.is_open()) return false;
  errno = posix_fallocate(reserve.number(), 0, kBytes);
  return errno == 0;
}

bool has_reserve() {
  return access(kReserve, F_OK) == 0;
}

// Works even if /run is full: neither a rename nor an empty file takes space.
void mark_end() {
  std::rename(kReserve, kEnd);
  const Descriptor end(open(kEnd, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
}

bool is_end_marked() {
  return access(kEnd, F_OK) == 0;
}

bool mark_failure() {
  const Descriptor failure(open(kFailed, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return failure.is_open() || errno != EEXIST;
}

void forget_failure() {
  unlink(kFailed);
}

bool has_failed() {
  return access(kFailed, F_OK) == 0;
}

void remove_marks() {
  for (const char* file : {kReserve, kEnd, kFailed})
    unlink(file);
}
