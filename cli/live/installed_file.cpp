#include "cli/live/installed_file.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/live/mounts.h"

namespace {

// A file before it is replaced.
struct Former {
  File file;
  struct stat status {};
};

}  // namespace

static std::string directory_of(const std::string& path) {
  return path.substr(0, path.find_last_of('/') + 1);
}

std::optional<std::string> find_installed(InstalledFile& installed) {
  char path[PATH_MAX];
  if (realpath(kInstalledConfiguration, path) == nullptr) return with_errno(kInstalledConfiguration);
  const auto entry = find_entry(path);
  if (!entry) {
    return printable(path) +
           ": a mounted file whose directory is not mounted cannot be replaced: mount the directory instead "
           "of the file, or make " +
           kInstalledConfiguration + " a symbolic link";
  }
  installed = {path, *entry};
  return std::nullopt;
}

static std::string why_not(const std::string& path) {
  return with_errno(path) + ": 'lanfab confirm' could not replace the configuration: make " +
         printable(path) + " writable, or make " + kInstalledConfiguration +
         " a symbolic link to a file that is";
}

// Creates a file and renames it, as an installation does: a directory that can be written to may refuse that.
// False, with errno set, on failure.
static bool can_rename_beside(const std::string& entry) {
  const std::string test = entry + ".test";
  const std::string renamed = entry + ".test.renamed";
  const bool can = write_file({test, 0600, ""}) && rename(test.c_str(), renamed.c_str()) == 0;
  const int error = errno;
  unlink(test.c_str());
  unlink(renamed.c_str());
  errno = error;
  return can;
}

std::optional<std::string> why_not_replaceable(const InstalledFile& installed) {
  const std::string directory = directory_of(installed.entry);
  for (const std::string& path : {directory, installed.entry})
    if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) return why_not(path);
  if (!can_rename_beside(installed.entry)) return why_not(directory);
  return std::nullopt;
}

static bool read_former(const std::string& path, Former& former) {
  return stat(path.c_str(), &former.status) == 0 && read_file(path, former.file);
}

// Writes a new file, with the owner and mode of another one, and waits until the disk has it.
static bool write_durably(const std::string& path, const std::string& content, const Former& like) {
  // What a killed one left.
  if (unlink(path.c_str()) != 0 && errno != ENOENT) return false;
  Descriptor descriptor(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  const int number = descriptor.number();
  return number >= 0 && write_all(number, content) &&
         fchown(number, like.status.st_uid, like.status.st_gid) == 0 && fchmod(number, like.file.mode) == 0 &&
         fsync(number) == 0 && descriptor.close();
}

static bool sync_directory_of(const std::string& path) {
  const Descriptor descriptor(open(directory_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return descriptor.is_open() && fsync(descriptor.number()) == 0;
}

// Makes the file visible at its path, where it may be mounted by itself.
static bool show(const InstalledFile& installed) {
  if (installed.path == installed.entry) return true;
  struct stat shown {};
  struct stat entry {};
  if (stat(installed.path.c_str(), &shown) != 0 || stat(installed.entry.c_str(), &entry) != 0) return false;
  if (shown.st_dev == entry.st_dev && shown.st_ino == entry.st_ino) return true;
  return mount_instead(installed.entry, installed.path);
}

namespace {

// The steps of `install`, and the way back.
class Replacement {
 public:
  explicit Replacement(const InstalledFile& installed)
      : installed_(installed), entry_(installed.entry), previous_(entry_ + kPreviousSuffix) {}

  // Returns nothing, or an error message; nothing has changed then.
  std::optional<std::string> make(const std::string& content) {
    if (!read_former(entry_, former_)) return with_errno(entry_);
    has_previous_ = read_former(previous_, former_previous_);
    if (!has_previous_ && errno != ENOENT) return with_errno(previous_);
    const std::string* const failed = replace(content);
    if (failed == nullptr) return std::nullopt;
    std::string message = with_errno(*failed);
    if (!restore()) message += "; " + with_errno(previous_);
    return message;
  }

 private:
  // The previous one goes first: a new one without the way back is worse than a way back that is not needed.
  // Returns the path that failed, with errno set.
  const std::string* replace(const std::string& content) {
    if (!write_durably(new_previous_, former_.file.content, former_)) return &new_previous_;
    if (!write_durably(new_entry_, content, former_)) return &new_entry_;
    if (!sync_directory_of(entry_)) return &entry_;
    if (rename(new_previous_.c_str(), previous_.c_str()) != 0) return &previous_;
    is_previous_replaced_ = true;
    if (rename(new_entry_.c_str(), entry_.c_str()) != 0) return &entry_;
    is_entry_replaced_ = true;
    return show(installed_) ? nullptr : &installed_.path;
  }

  // The installed one comes back from the previous one, by a rename that needs no space. The space for the
  // previous one is that of the new file.
  bool restore() const {
    unlink(new_entry_.c_str());
    unlink(new_previous_.c_str());
    if (is_entry_replaced_ && (rename(previous_.c_str(), entry_.c_str()) != 0 || !show(installed_)))
      return false;
    if (!is_previous_replaced_) return true;
    // Unless that rename has removed it.
    if (!has_previous_) return is_entry_replaced_ || unlink(previous_.c_str()) == 0;
    if (write_durably(new_previous_, former_previous_.file.content, former_previous_) &&
        rename(new_previous_.c_str(), previous_.c_str()) == 0) {
      return true;
    }
    const int error = errno;
    unlink(new_previous_.c_str());
    errno = error;
    return false;
  }

  const InstalledFile& installed_;
  const std::string& entry_;
  const std::string previous_;
  const std::string new_previous_ = previous_ + ".new";
  const std::string new_entry_ = entry_ + ".new";
  Former former_;
  Former former_previous_;
  bool has_previous_ = false;
  bool is_previous_replaced_ = false;
  bool is_entry_replaced_ = false;
};

}  // namespace

Installation install(const std::string& content, const InstalledFile& installed, std::string& trouble) {
  if (const auto error = Replacement(installed).make(content)) {
    trouble = *error;
    return Installation::kFailed;
  }
  return complete_installation(installed, trouble);
}

Installation complete_installation(const InstalledFile& installed, std::string& trouble) {
  if (!show(installed)) {
    trouble = with_errno(installed.path);
    return Installation::kFailed;
  }
  if (sync_directory_of(installed.entry)) return Installation::kDurable;
  trouble = with_errno(installed.entry);
  return Installation::kPlaced;
}
