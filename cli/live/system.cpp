#include "cli/live/system.h"

#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

constexpr char kSystemMounts[] = "/proc/1/ns/mnt";

static std::string failure(const char* what) {
  return std::string("lanfab: ") + what + ": " + std::strerror(errno);
}

static std::optional<std::string> join_system_mounts() {
  struct stat own {};
  struct stat system {};
  if (stat("/proc/self/ns/mnt", &own) != 0 || stat(kSystemMounts, &system) != 0)
    return failure(kSystemMounts);
  if (own.st_ino == system.st_ino) return std::nullopt;
  const int mounts = open(kSystemMounts, O_RDONLY | O_CLOEXEC);
  const bool success = mounts >= 0 && setns(mounts, CLONE_NEWNS) == 0;
  std::optional<std::string> trouble;
  if (!success) trouble = failure(kSystemMounts);
  if (mounts >= 0) close(mounts);
  return trouble;
}

std::optional<std::string> enter_system() {
  if (geteuid() != 0) return "lanfab: the network is root's: run this as root";
  if (auto trouble = join_system_mounts()) return trouble;
  if (access("/run/systemd/system", F_OK) != 0) return "lanfab: systemd does not run on this machine";
  if ((mkdir(kStateDirectory, 0700) != 0 && errno != EEXIST) || chmod(kStateDirectory, 0700) != 0)
    return failure(kStateDirectory);
  return std::nullopt;
}

std::string own_program() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return {path, length > 0 ? static_cast<std::size_t>(length) : 0};
}

StateLock::StateLock() : directory_(open(kStateDirectory, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  while (directory_ >= 0 && flock(directory_, LOCK_EX) != 0 && errno == EINTR) {
  }
}

StateLock::~StateLock() {
  if (directory_ >= 0) close(directory_);
}
