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

// The installed file before it is replaced.
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

// Creates a file beside `entry` and renames it, as an installation does: this may fail even in a writable
// directory. Returns false and sets errno on failure.
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

static bool remove_file(const std::string& path) {
  return unlink(path.c_str()) == 0 || errno == ENOENT;
}

static bool move_file(const std::string& from, const std::string& to) {
  return rename(from.c_str(), to.c_str()) == 0;
}

// Writes a new file with the owner and mode of `like`, and waits until it is on the disk.
static bool write_durably(const std::string& path, const std::string& content, const Former& like) {
  // An installation that was killed may have left this file.
  if (!remove_file(path)) return false;
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

// Makes the file visible at its path: if the path is a mount point, mounts the file there.
static bool show(const InstalledFile& installed) {
  if (installed.path == installed.entry) return true;
  struct stat shown {};
  struct stat entry {};
  if (stat(installed.path.c_str(), &shown) != 0 || stat(installed.entry.c_str(), &entry) != 0) return false;
  if (shown.st_dev == entry.st_dev && shown.st_ino == entry.st_ino) return true;
  return mount_instead(installed.entry, installed.path);
}

// The file that becomes the previous one once the new one is installed. It is always complete: it is written
// under another name and then renamed.
static std::string waiting_previous(const InstalledFile& installed) {
  return installed.entry + kPreviousSuffix + ".new";
}

// Makes the waiting file the previous one if a different file is installed. Otherwise, the replacement did
// not take place, and the waiting file is removed.
static bool complete_previous(const InstalledFile& installed) {
  const std::string waiting = waiting_previous(installed);
  File former;
  if (!read_file(waiting, former)) return errno == ENOENT;
  File current;
  if (!read_file(installed.entry, current)) return false;
  return current.content == former.content ? remove_file(waiting)
                                           : move_file(waiting, installed.entry + kPreviousSuffix);
}

namespace {

// The steps of `install`, which can be undone.
class Replacement {
 public:
  explicit Replacement(const InstalledFile& installed)
      : installed_(installed), entry_(installed.entry), waiting_(waiting_previous(installed)) {}

  // Sets `error` if it returns kFailed.
  Installation make(const std::string& content, const Permission& permission, std::string& error) {
    if (const std::string* const failed = prepare(content)) return undo(*failed, error);
    if (!permission.before()) return refuse(error);
    if (!move_file(new_entry_, entry_)) return undo(entry_, error);
    is_replaced_ = true;
    if (!show(installed_)) return undo(installed_.path, error);
    return permission.after() ? Installation::kPlaced : refuse(error);
  }

 private:
  // Writes the new file and a copy of the installed one. The copy only becomes the previous configuration
  // after the replacement, so that it always differs from the installed one. Returns nullptr, or the path
  // that failed, with errno set.
  const std::string* prepare(const std::string& content) {
    if (!read_former(entry_, former_)) return &entry_;
    File previous;
    if (!read_file(previous_, previous) && errno != ENOENT) return &previous_;
    if (!write_durably(half_, former_.file.content, former_)) return &half_;
    if (!move_file(half_, waiting_)) return &waiting_;
    if (!write_durably(new_entry_, content, former_)) return &new_entry_;
    return sync_directory_of(entry_) ? nullptr : &entry_;
  }

  Installation undo(const std::string& failed, std::string& error) const {
    error = with_errno(failed);
    if (!restore()) error += "; " + with_errno(entry_);
    return Installation::kFailed;
  }

  Installation refuse(std::string& error) const {
    if (restore()) return Installation::kRefused;
    error = with_errno(entry_);
    return Installation::kFailed;
  }

  // A rename needs no disk space.
  bool restore() const {
    unlink(half_.c_str());
    unlink(new_entry_.c_str());
    if (is_replaced_) return move_file(waiting_, entry_) && show(installed_);
    unlink(waiting_.c_str());
    return true;
  }

  const InstalledFile& installed_;
  const std::string& entry_;
  const std::string previous_ = entry_ + kPreviousSuffix;
  const std::string waiting_;
  const std::string half_ = waiting_ + ".half";
  const std::string new_entry_ = entry_ + ".new";
  Former former_;
  bool is_replaced_ = false;
};

}  // namespace

// Whether the file already has this content.
static bool is_installed(const std::string& content, const InstalledFile& installed) {
  File current;
  return read_file(installed.entry, current) && current.content == content;
}

Installation install(const std::string& content, const InstalledFile& installed, const Permission& permission,
                     std::string& error) {
  if (!complete_previous(installed)) {
    error = with_errno(waiting_previous(installed));
    return Installation::kFailed;
  }
  if (!is_installed(content, installed)) {
    const Installation installation = Replacement(installed).make(content, permission, error);
    if (installation != Installation::kPlaced) return installation;
  } else if (!permission.before() || !permission.after()) {
    return Installation::kRefused;
  }
  const Installation completed = complete_installation(installed, error);
  // From here on, the installation is not undone, so an error does not mean that it failed.
  return completed == Installation::kFailed ? Installation::kPlaced : completed;
}

Installation complete_installation(const InstalledFile& installed, std::string& error) {
  if (!show(installed)) {
    error = with_errno(installed.path);
    return Installation::kFailed;
  }
  // Syncs the new file before the previous one is replaced, since power may be lost in between.
  const bool is_synced = sync_directory_of(installed.entry);
  if (!is_synced) error = with_errno(installed.entry);
  if (complete_previous(installed) && sync_directory_of(installed.entry) && is_synced)
    return Installation::kDurable;
  if (is_synced) error = with_errno(waiting_previous(installed));
  return Installation::kPlaced;
}
