#include "cli/live/installed_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/live/trial_state.h"

std::optional<std::string> installed_path() {
  char path[PATH_MAX];
  if (realpath(kInstalledConfiguration, path) == nullptr) return std::nullopt;
  return path;
}

bool is_trial_active(const std::string& installed) {
  struct stat here {};
  struct stat trial {};
  return stat(installed.c_str(), &here) == 0 && stat(kTrialFile, &trial) == 0 &&
         here.st_dev == trial.st_dev && here.st_ino == trial.st_ino;
}

bool activate_trial(const std::string& installed) {
  if (mount(kTrialFile, installed.c_str(), nullptr, MS_BIND, nullptr) != 0) return false;
  // What somebody writes now would be lost with the trial.
  return mount(nullptr, installed.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0;
}

bool deactivate_trial(const std::string& installed) {
  while (is_trial_active(installed)) {
    if (umount2(installed.c_str(), MNT_DETACH) != 0) return false;
  }
  return true;
}

bool enter_view_without_trial(const std::string& installed) {
  return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         deactivate_trial(installed);
}

// Writes a new file and waits until the disk has it.
static bool write_durably(const File& file, const struct stat& like) {
  // What a killed one left.
  if (unlink(file.path.c_str()) != 0 && errno != ENOENT) return false;
  Descriptor descriptor(open(file.path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  const int number = descriptor.number();
  return number >= 0 && write_all(number, file.content) && fchown(number, like.st_uid, like.st_gid) == 0 &&
         fchmod(number, file.mode) == 0 && fsync(number) == 0 && descriptor.close();
}

static bool sync_directory_of(const std::string& path) {
  const std::string directory = path.substr(0, path.find_last_of('/') + 1);
  const Descriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor.is_open() && fsync(descriptor.number()) == 0;
}

static bool note_error(const std::string& path, std::string& trouble) {
  trouble = with_errno(path);
  return false;
}

// The previous one goes first: a new one without the way back is worse than a way back that is not needed.
static bool place(const std::string& content, const std::string& installed, std::string& trouble) {
  const std::string previous = installed + kPreviousSuffix;
  const std::string new_previous = previous + ".new";
  const std::string new_installed = installed + ".new";
  struct stat like {};
  File former;
  if (stat(installed.c_str(), &like) != 0 || !read_file(installed, former))
    return note_error(installed, trouble);
  const auto failed = [&]() -> const std::string* {
    if (!write_durably({new_previous, former.mode, former.content}, like)) return &new_previous;
    if (!write_durably({new_installed, former.mode, content}, like)) return &new_installed;
    if (!sync_directory_of(installed)) return &installed;
    if (rename(new_previous.c_str(), previous.c_str()) != 0) return &previous;
    return rename(new_installed.c_str(), installed.c_str()) != 0 ? &installed : nullptr;
  }();
  if (failed == nullptr) return true;
  note_error(*failed, trouble);
  unlink(new_previous.c_str());
  unlink(new_installed.c_str());
  return false;
}

Installation install(const std::string& content, const std::string& installed, std::string& trouble) {
  if (!place(content, installed, trouble)) return Installation::kFailed;
  if (sync_directory_of(installed)) return Installation::kDurable;
  note_error(installed, trouble);
  return Installation::kPlaced;
}
