#include "cli/live/system.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cli/base/file.h"
#include "cli/base/terminal.h"

constexpr char kSystemMounts[] = "/proc/1/ns/mnt";

static std::string failure(const char* what) {
  return with_errno(std::string("lanfab: ") + what);
}

static std::optional<std::string> join_system_mounts() {
  struct stat own {};
  struct stat system {};
  if (stat("/proc/self/ns/mnt", &own) != 0 || stat(kSystemMounts, &system) != 0)
    return failure(kSystemMounts);
  if (own.st_ino == system.st_ino) return std::nullopt;
  const Descriptor mounts(open(kSystemMounts, O_RDONLY | O_CLOEXEC));
  if (!mounts.is_open() || setns(mounts.number(), CLONE_NEWNS) != 0) return failure(kSystemMounts);
  return std::nullopt;
}

std::optional<std::string> enter_system() {
  if (geteuid() != 0) return "lanfab: the network is root's: run this as root";
  if (auto trouble = join_system_mounts()) return trouble;
  if (access("/run/systemd/system", F_OK) != 0) return "lanfab: systemd does not run on this machine";
  if ((mkdir(kStateDirectory, 0700) != 0 && errno != EEXIST) || chmod(kStateDirectory, 0700) != 0)
    return failure(kStateDirectory);
  return std::nullopt;
}
