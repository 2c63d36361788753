#include "cli/base/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "cli/base/terminal.h"

constexpr int kAttemptsPerSecond = 50;

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  close();
  number_ = other.release();
  return *this;
}

bool Descriptor::close() {
  const int number = release();
  return number < 0 || ::close(number) == 0;
}

Descriptor::~Descriptor() {
  const int error = errno;
  close();
  errno = error;
}

ExclusiveLock::ExclusiveLock(const std::string& directory, int seconds)
    : directory_(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  const auto is_taken = [this] { return flock(directory_.number(), LOCK_EX | LOCK_NB) == 0; };
  int attempts = seconds * kAttemptsPerSecond;
  while (directory_.is_open()) {
    is_held_ = is_taken();
    if (is_held_ || (errno != EINTR && errno != EWOULDBLOCK)) break;
    if (attempts-- == 0) {
      error_ =
          printable(directory) + ": another process has held its lock for " + std::to_string(seconds) + " s";
      return;
    }
    usleep(1'000'000 / kAttemptsPerSecond);
  }
  if (!is_held_) error_ = with_errno(directory);
}

MemoryFile::MemoryFile() : descriptor_(memfd_create("lanfab", MFD_CLOEXEC)) {}

bool MemoryFile::fill(const std::string& text) const {
  return write_all(number(), text) && lseek(number(), 0, SEEK_SET) == 0;
}

std::string MemoryFile::content() const {
  std::string text;
  lseek(number(), 0, SEEK_SET);
  read_all(number(), text);
  return text;
}

bool read_all(int descriptor, std::string& content) {
  char block[65536];
  while (true) {
    const ssize_t size = read(descriptor, block, sizeof block);
    if (size == 0) return true;
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return false;
    content.append(block, static_cast<std::size_t>(size));
  }
}

bool write_all(int descriptor, const std::string& content) {
  std::size_t written = 0;
  while (written < content.size()) {
    const ssize_t size = write(descriptor, content.data() + written, content.size() - written);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return false;
    written += static_cast<std::size_t>(size);
  }
  return true;
}

bool read_file(const std::string& path, File& file) {
  // Non-blocking, since opening a pipe would wait for its writer; only regular files are read.
  const Descriptor descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!descriptor.is_open() || fstat(descriptor.number(), &status) != 0) return false;
  if (!S_ISREG(status.st_mode)) {
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
  }
  file.path = path;
  file.mode = status.st_mode & kModeBits;
  file.content.clear();
  return read_all(descriptor.number(), file.content);
}

bool write_file(const File& file) {
  Descriptor descriptor(open(file.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  return descriptor.is_open() && write_all(descriptor.number(), file.content) &&
         fchmod(descriptor.number(), file.mode) == 0 && descriptor.close();
}

bool make_directories(const std::string& path, mode_t mode) {
  for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    if (mkdir(path.substr(0, slash).c_str(), 0755) != 0 && errno != EEXIST) return false;
  }
  if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) return false;
  return chmod(path.c_str(), mode) == 0;
}

std::optional<std::vector<std::string>> list_directory(const std::string& directory) {
  DIR* stream = opendir(directory.c_str());
  if (stream == nullptr) return std::nullopt;
  std::vector<std::string> names;
  while (const dirent* entry = readdir(stream)) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  closedir(stream);
  std::sort(names.begin(), names.end());
  return names;
}

bool is_same_file(const std::string& one, const std::string& other) {
  struct stat first {};
  struct stat second {};
  return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}
