#include "cli/live/system.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "libcmd/configuration_file.h"

constexpr char kSystemMounts[] = "/proc/1/ns/mnt";

// All users may traverse the directory, so that they can read the configuration on trial if they can read the
// installed one. Only root can open the directory, on which lanfab takes its lock.
constexpr mode_t kMode = 0711;

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

std::optional<std::string> check_rights() {
  if (geteuid() != 0) return "lanfab: only root can change the network: run this command as root";
  return std::nullopt;
}

static std::optional<std::string> prepare(bool is_service) {
  if (auto error = check_rights()) return error;
  if (!is_service) {
    if (auto error = join_system_mounts()) return error;
  }
  if (access("/run/systemd/system", F_OK) != 0) return "lanfab: systemd does not run on this machine";
  if ((mkdir(kTrialDirectory, kMode) != 0 && errno != EEXIST) || chmod(kTrialDirectory, kMode) != 0)
    return failure(kTrialDirectory);
  return std::nullopt;
}

std::optional<std::string> enter_system() {
  return prepare(false);
}

std::optional<std::string> enter_system_as_service() {
  return prepare(true);
}
