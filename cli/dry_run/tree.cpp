#include "cli/dry_run/tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const {
    closedir(directory);
  }
};

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    close();
  }

  int number() const {
    return number_;
  }

  // Whether nothing is wrong with what was written.
  bool close() {
    const int number = std::exchange(number_, -1);
    return number < 0 || ::close(number) == 0;
  }

 private:
  int number_;
};

}  // namespace

constexpr mode_t kPermissions = 07777;

static bool read_all(int descriptor, std::string& content) {
  char block[65536];
  while (true) {
    const ssize_t size = read(descriptor, block, sizeof block);
    if (size == 0) return true;
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return false;
    content.append(block, static_cast<std::size_t>(size));
  }
}

bool read_file(const std::string& path, File& file) {
  // Not blocking: what is no regular file is not read, but it may be a pipe.
  const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (descriptor.number() < 0 || fstat(descriptor.number(), &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  file.path = path;
  file.mode = status.st_mode & kPermissions;
  file.content.clear();
  return read_all(descriptor.number(), file.content);
}

static bool write_all(int descriptor, const std::string& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t size = write(descriptor, content.data() + written, content.size() - written);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return false;
    written += static_cast<std::size_t>(size);
  }
  return true;
}

bool write_file(const File& file) {
  Descriptor descriptor(open(file.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  return descriptor.number() >= 0 && write_all(descriptor.number(), file.content) &&
         fchmod(descriptor.number(), file.mode) == 0 && descriptor.close();
}

bool make_directories(const std::string& path, mode_t mode) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    if (mkdir(path.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST) return false;
  }
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  return chmod(path.c_str(), mode) == 0;
}

static std::vector<std::string> names_in(const std::string& directory) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, CloseDirectory> stream(opendir(directory.c_str()));
  while (const dirent* entry = stream != nullptr ? readdir(stream.get()) : nullptr) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

static void add_entry(const std::string& path, int depth, Tree& tree) {
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return;
  if (S_ISDIR(status.st_mode)) {
    tree.directories.push_back({path, status.st_mode & kPermissions});
    if (depth == 0) return;
    for (const std::string& name : names_in(path))
      add_entry(path + "/" + name, depth - 1, tree);
  } else if (S_ISREG(status.st_mode)) {
    File file;
    if (read_file(path, file)) tree.files.push_back(std::move(file));
  }
}

void add_directory(const std::string& directory, int depth, Tree& tree) {
  struct stat status {};
  // The directory itself may be reached through a link, as /var/run is.
  if (stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return;
  tree.directories.push_back({directory, status.st_mode & kPermissions});
  for (const std::string& name : names_in(directory))
    add_entry(directory + "/" + name, depth - 1, tree);
}
