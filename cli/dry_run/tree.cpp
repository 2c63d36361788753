#include "cli/dry_run/tree.h"

#include <sys/stat.h>

static void add_entry(const std::string& path, int depth, Tree& tree);

static void add_entries(const std::string& directory, int depth, Tree& tree) {
  const std::string prefix = directory + "/";
  for (const std::string& name : list_directory(directory).value_or(std::vector<std::string>()))
    add_entry(prefix + name, depth, tree);
}

static void add_entry(const std::string& path, int depth, Tree& tree) {
  struct stat status {};
  // What has gone meanwhile is neither.
  lstat(path.c_str(), &status);
  if (S_ISDIR(status.st_mode)) {
    tree.directories.push_back({path, status.st_mode & 07777});
    if (depth > 0) add_entries(path, depth - 1, tree);
  } else if (S_ISREG(status.st_mode)) {
    File file;
    if (read_file(path, file)) tree.files.push_back(std::move(file));
  }
}

void add_directory(const std::string& directory, int depth, Tree& tree) {
  struct stat status {};
  // The directory itself may be reached through a link, as /var/run is.
  if (stat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return;
  tree.directories.push_back({directory, status.st_mode & 07777});
  add_entries(directory, depth - 1, tree);
}
