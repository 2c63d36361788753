#include "cli/dry_run/tree.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

// Throws std::system_error unless errno means that this user may not read the file or that it is missing.
static void require_reason_to_skip(const std::string& path) {
  constexpr std::array<int, 5> kReasons = {EACCES, EPERM, ENOENT, ENOTDIR, EINVAL};
  if (std::find(kReasons.begin(), kReasons.end(), errno) == kReasons.end())
    throw std::system_error(errno, std::generic_category(), path);
}

namespace {

class Reader {
 public:
  Reader(Tree& tree, Meter* meter) : tree_(tree), meter_(meter) {}

  void add_entries(const std::string& directory, int depth) const {
    const std::string prefix = directory + "/";
    const auto names = list_directory(directory);
    if (!names) return require_reason_to_skip(directory);
    for (const std::string& name : *names)
      add_entry(prefix + name, depth);
  }

 private:
  void add_entry(const std::string& path, int depth) const {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) return require_reason_to_skip(path);
    if (S_ISDIR(status.st_mode)) {
      count(path.size());
      tree_.directories.push_back({path, status.st_mode & 07777});
      if (depth > 0) add_entries(path, depth - 1);
    } else if (S_ISREG(status.st_mode)) {
      count(path.size() + static_cast<std::size_t>(status.st_size));
      File file;
      if (!read_file(path, file)) return require_reason_to_skip(path);
      tree_.files.push_back(std::move(file));
    }
  }

  void count(std::size_t bytes) const {
    if (meter_ != nullptr) meter_->add(bytes);
  }

  Tree& tree_;
  Meter* meter_;
};

}  // namespace

void add_directory(const std::string& directory, int depth, Tree& tree, Meter* meter) {
  struct stat status {};
  // The directory itself may be a symbolic link, as /var/run is.
  if (stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return;
  tree.directories.push_back({directory, status.st_mode & 07777});
  Reader(tree, meter).add_entries(directory, depth - 1);
}
