#include "cli/base/output.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <deque>
#include <map>
#include <random>

#include "cli/base/signals.h"
#include "cli/base/terminal.h"

constexpr mode_t kPermissions = 0777;
constexpr char kForeignLink[] = ": refusing to follow a link in a directory that other users can write to";

// --- Finding the location

static bool is_own_or_roots(const struct stat& status) {
  return status.st_uid == geteuid() || status.st_uid == 0;
}

static bool may_others_write(const Descriptor& directory) {
  struct stat status {};
  return fstat(directory.number(), &status) != 0 || !is_own_or_roots(status) ||
         (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

static bool is_in_proc(const Descriptor& directory) {
  struct statfs status {};
  return fstatfs(directory.number(), &status) == 0 && status.f_type == PROC_SUPER_MAGIC;
}

// Opens the same file or directory again, with other flags.
static Descriptor reopened(const Descriptor& file, int flags) {
  const std::string path = "/proc/self/fd/" + std::to_string(file.number());
  return Descriptor(open(path.c_str(), flags | O_CLOEXEC));
}

static std::deque<std::string> components_of(const std::string& path) {
  std::deque<std::string> components;
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string name = path.substr(begin, end - begin);
    if (!name.empty() && name != ".") components.push_back(name);
    begin = end + 1;
  }
  return components;
}

namespace {

// Resolves a path, one component after the other.
class Walk {
 public:
  explicit Walk(const std::string& path) : names_(components_of(path)) {
    start(path);
  }

  // Sets the location. False, with errno set, if the path cannot be resolved; its last component may be
  // missing.
  bool go(OutputLocation& location) {
    while (directory_.is_open()) {
      if (names_.empty()) return arrive(location, "", reopened(directory_, O_PATH));
      const std::string name = names_.front();
      names_.pop_front();
      Descriptor file(openat(directory_.number(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
      if (!file.is_open() && (errno != ENOENT || !names_.empty())) return false;
      struct stat status {};
      if (file.is_open() && fstat(file.number(), &status) != 0) return false;
      if (S_ISLNK(status.st_mode)) {
        if (!follow(name, file)) return false;
        continue;
      }
      if (names_.empty()) return arrive(location, name, std::move(file));
      if (!S_ISDIR(status.st_mode)) return fail_with(ENOTDIR);
      directory_ = std::move(file);
    }
    return false;
  }

  bool has_foreign_link() const {
    return has_foreign_link_;
  }

 private:
  static bool fail_with(int error) {
    errno = error;
    return false;
  }

  void start(const std::string& path) {
    const char* const begin = !path.empty() && path[0] == '/' ? "/" : ".";
    directory_ = Descriptor(path.empty() ? -1 : open(begin, O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (path.empty()) errno = ENOENT;
  }

  bool arrive(OutputLocation& location, const std::string& name, Descriptor file) {
    location.directory = std::move(directory_);
    location.name = name;
    location.file = std::move(file);
    location.is_process_link = is_process_link_;
    return true;
  }

  // Follows a link. A link in /proc leads to an open file that may not have a path; other users cannot
  // create such links. False, with errno set, on failure.
  bool follow(const std::string& name, const Descriptor& link) {
    constexpr int kMostLinks = 40;
    if (++links_ > kMostLinks) return fail_with(ELOOP);
    if (is_in_proc(directory_)) {
      Descriptor target(openat(directory_.number(), name.c_str(), O_PATH | O_CLOEXEC));
      if (!target.is_open()) return false;
      is_process_link_ = names_.empty();
      directory_ = std::move(target);
      return true;
    }
    has_foreign_link_ = may_others_write(directory_);
    if (has_foreign_link_) return fail_with(ELOOP);
    std::array<char, PATH_MAX> path{};
    const ssize_t size = readlinkat(link.number(), "", path.data(), path.size() - 1);
    if (size <= 0) return fail_with(ENOENT);
    const std::string target(path.data(), static_cast<std::size_t>(size));
    if (target[0] == '/') start(target);
    const std::deque<std::string> inner = components_of(target);
    names_.insert(names_.begin(), inner.begin(), inner.end());
    return true;
  }

  Descriptor directory_{-1};
  std::deque<std::string> names_;  // components still to resolve
  int links_ = 0;
  bool is_process_link_ = false;
  bool has_foreign_link_ = false;
};

}  // namespace

static std::optional<std::string> find_location(const std::string& path, OutputLocation& location) {
  Walk walk(path);
  if (walk.go(location)) return std::nullopt;
  return walk.has_foreign_link() ? printable(path) + kForeignLink : with_errno(path);
}

// --- One file

// Accepts a device or a pipe, unless another user may have put it there: it belongs to another user, and
// its directory can be written to by others.
std::optional<std::string> OutputFile::open() {
  if (auto error = find_location(path_, location_)) return error;
  errno = EISDIR;
  if (path_.back() == '/') return with_errno(path_);
  struct stat status {};
  if (!location_.file.is_open()) return std::nullopt;
  if (fstat(location_.file.number(), &status) != 0) return with_errno(path_);
  if (S_ISREG(status.st_mode) || location_.is_process_link) return std::nullopt;
  errno = S_ISDIR(status.st_mode) ? EISDIR : EACCES;
  const bool is_foreign = may_others_write(location_.directory) && !is_own_or_roots(status);
  if (S_ISDIR(status.st_mode) || is_foreign) return with_errno(path_);
  return std::nullopt;
}

static bool write_to(const Descriptor& file, const std::string& content) {
  // /dev/stdout may be a file that was opened for appending.
  Descriptor open_file = reopened(file, O_WRONLY | O_APPEND);
  return open_file.is_open() && write_all(open_file.number(), content) && open_file.close();
}

// Mode of the new file: that of the file it replaces, if that belongs to the caller or root; otherwise the
// default.
static mode_t mode_for(const OutputLocation& location) {
  struct stat status {};
  const bool is_there =
      fstatat(location.directory.number(), location.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (is_there && S_ISREG(status.st_mode) && is_own_or_roots(status)) return status.st_mode & kPermissions;
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// Creates a file in the directory, and appends a random suffix to `name`. Not open, with errno set, on
// failure.
static Descriptor open_temporary(const Descriptor& directory, std::string& name) {
  constexpr int kMostAttempts = 100;
  std::random_device random;
  int number = -1;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, ".%06x", random() & 0xffffffU);
    const std::string candidate = name + suffix;
    number = openat(directory.number(), candidate.c_str(),
                    O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (number < 0 && errno == EEXIST) continue;
    name = candidate;
    break;
  }
  return Descriptor(number);
}

// Gives the new file the mode of the file that it will replace and, with Owner::kKept, its owner. False,
// with errno set, if the owner cannot be changed.
static bool take_over(const OutputLocation& location, Owner owner, const Descriptor& file) {
  struct stat status {};
  const bool keeps_owner = owner == Owner::kKept && location.file.is_open();
  if (keeps_owner && (fstat(location.file.number(), &status) != 0 ||
                      fchown(file.number(), status.st_uid, status.st_gid) != 0)) {
    return false;
  }
  // Fails on a file system without modes, such as FAT.
  fchmod(file.number(), keeps_owner ? status.st_mode & kPermissions : mode_for(location));
  return true;
}

// Writes a temporary file in the same directory, then renames it over the old file. A link that is there by
// now is replaced, not followed. False, with errno set, on failure.
static bool replace(const OutputLocation& location, const std::string& content, Owner owner) {
  std::string temporary = location.name;
  Descriptor file = open_temporary(location.directory, temporary);
  if (!file.is_open()) return false;
  const int directory = location.directory.number();
  if (take_over(location, owner, file) && write_all(file.number(), content) && fsync(file.number()) == 0 &&
      file.close() && renameat(directory, temporary.c_str(), directory, location.name.c_str()) == 0) {
    return true;
  }
  const int error = errno;
  unlinkat(directory, temporary.c_str(), 0);
  errno = error;
  return false;
}

std::optional<std::string> OutputFile::write(const std::string& content, Owner owner) const {
  const BlockedSignals signals;
  struct stat status {};
  const bool is_regular =
      !location_.file.is_open() || (fstat(location_.file.number(), &status) == 0 && S_ISREG(status.st_mode));
  const bool is_replaced = is_regular && !location_.is_process_link;
  const bool success = is_replaced ? replace(location_, content, owner) : write_to(location_.file, content);
  return success ? std::nullopt : std::optional(with_errno(path_));
}

std::optional<std::string> OutputFile::create(const std::string& content) const {
  const BlockedSignals signals;
  const int directory = location_.directory.number();
  std::string temporary = location_.name;
  Descriptor file = open_temporary(location_.directory, temporary);
  if (!file.is_open()) return with_errno(path_);
  std::optional<std::string> error;
  if (!write_all(file.number(), content) || fsync(file.number()) != 0 || !file.close() ||
      renameat2(directory, temporary.c_str(), directory, location_.name.c_str(), RENAME_NOREPLACE) != 0) {
    error = with_errno(path_);
    unlinkat(directory, temporary.c_str(), 0);
  }
  return error;
}

// --- A directory

// False, with errno set, if the directory has an entry or cannot be read.
static bool is_empty(const Descriptor& directory) {
  Descriptor own = reopened(directory, O_RDONLY | O_DIRECTORY);
  DIR* stream = own.is_open() ? fdopendir(own.number()) : nullptr;
  if (stream == nullptr) return false;
  own.release();
  int entries = 0;
  while (entries < 3 && readdir(stream) != nullptr)
    ++entries;
  closedir(stream);
  errno = ENOTEMPTY;
  return entries <= 2;
}

std::optional<std::string> OutputDirectory::open() {
  if (auto error = find_location(path_, location_)) return error;
  if (location_.file.is_open() && !is_empty(location_.file)) return with_errno(path_);
  return std::nullopt;
}

namespace {

// Creates files and directories below a directory, and can remove them again. Keeps all directories open,
// so that each name is looked up only once, in a directory that this program has created.
class NewTree {
 public:
  // Opens or creates the top directory, which must be empty. False, with errno set, on failure.
  bool begin(const OutputLocation& location) {
    Descriptor top = location.file.is_open() ? reopened(location.file, O_RDONLY | O_DIRECTORY)
                                             : make_directory(location.directory, location.name);
    if (!top.is_open() || !is_empty(top)) return false;
    directories_.emplace("", std::move(top));
    return true;
  }

  // Creates a file, whose path begins with a slash, and its directories. False, with errno set, on failure.
  bool add(const File& file) {
    const std::size_t slash = file.path.rfind('/');
    const Descriptor* directory = directory_at(file.path.substr(0, slash));
    if (directory == nullptr) return false;
    const std::string name = file.path.substr(slash + 1);
    Descriptor descriptor(openat(directory->number(), name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!descriptor.is_open()) return false;
    made_.push_back({directory->number(), name, 0});
    return write_all(descriptor.number(), file.content) &&
           fchmod(descriptor.number(), file.mode & kPermissions) == 0 && descriptor.close();
  }

  // Removes everything that was created. Does not change errno.
  void remove() const {
    const int error = errno;
    for (auto one = made_.rbegin(); one != made_.rend(); ++one)
      unlinkat(one->directory, one->name.c_str(), one->flags);
    errno = error;
  }

 private:
  struct Made {
    int directory;
    std::string name;
    int flags;  // of unlinkat
  };

  // Returns the directory, created if necessary. Null, with errno set, on failure.
  const Descriptor* directory_at(const std::string& path) {
    const auto found = directories_.find(path);
    if (found != directories_.end()) return &found->second;
    const std::size_t slash = path.rfind('/');
    const Descriptor* parent = directory_at(path.substr(0, slash));
    if (parent == nullptr) return nullptr;
    Descriptor directory = make_directory(*parent, path.substr(slash + 1));
    if (!directory.is_open()) return nullptr;
    return &directories_.emplace(path, std::move(directory)).first->second;
  }

  // Creates a directory and opens it. Not open, with errno set, on failure: also if another user has
  // replaced the directory before it was opened.
  Descriptor make_directory(const Descriptor& parent, const std::string& name) {
    if (mkdirat(parent.number(), name.c_str(), 0755) != 0) return Descriptor(-1);
    made_.push_back({parent.number(), name, AT_REMOVEDIR});
    Descriptor directory(
        openat(parent.number(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!directory.is_open() || fstat(directory.number(), &status) != 0) return Descriptor(-1);
    if (status.st_uid == geteuid()) return directory;
    errno = EEXIST;
    return Descriptor(-1);
  }

  std::map<std::string, Descriptor> directories_;  // by path, which is empty for the top directory
  std::vector<Made> made_;
};

}  // namespace

std::optional<std::string> OutputDirectory::write(const std::vector<File>& files) {
  const BlockedSignals signals;
  NewTree tree;
  bool success = tree.begin(location_);
  for (auto file = files.begin(); success && file != files.end(); ++file)
    success = tree.add(*file);
  if (success) return std::nullopt;
  tree.remove();
  return with_errno(path_);
}
