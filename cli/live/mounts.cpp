#include "cli/live/mounts.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <vector>

#include "cli/base/file.h"

// Suffix in mountinfo(5) of a file that has been replaced or removed.
constexpr char kRemoved[] = "//deleted";

// Mount flags that have the same value in mount(2) and statvfs(3).
constexpr unsigned long kMountOptions = MS_RDONLY | MS_NOSUID | MS_NODEV | MS_NOEXEC;

namespace {

// A line of proc_pid_mountinfo(5).
struct Mount {
  std::string id;
  std::string device;
  std::string root;  // the mounted directory or file, as a path in its file system
  std::string point;
};

}  // namespace

// Decodes octal escape sequences, which stand for spaces and backslashes.
static std::string decoded(const std::string& text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool is_encoded = text[at] == '\\';
    result += is_encoded ? static_cast<char>(std::stoi(text.substr(at + 1, 3), nullptr, 8)) : text[at];
    if (is_encoded) at += 3;
  }
  return result;
}

static std::vector<Mount> list_mounts() {
  std::vector<Mount> mounts;
  std::ifstream stream("/proc/self/mountinfo");
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line);
    Mount mount;
    std::string parent;
    words >> mount.id >> parent >> mount.device >> mount.root >> mount.point;
    mount.root = decoded(mount.root);
    mount.point = decoded(mount.point);
    mounts.push_back(mount);
  }
  return mounts;
}

// ID of the mount in which the file at `path` is; empty if there is no such file.
static std::string mount_id(const std::string& path) {
  const Descriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
  std::ifstream stream("/proc/self/fdinfo/" + std::to_string(file.number()));
  for (std::string key, word; stream >> word; key = word)
    if (key == "mnt_id:") return word;
  return "";
}

// The mount whose mount point is exactly `path`.
static std::optional<Mount> mount_at(const std::string& path, const std::vector<Mount>& mounts) {
  const std::string id = mount_id(path);
  const auto found = std::find_if(mounts.begin(), mounts.end(),
                                  [&](const Mount& mount) { return mount.id == id && mount.point == path; });
  return found != mounts.end() ? std::optional(*found) : std::nullopt;
}

static std::string without_slash(const std::string& directory) {
  return directory == "/" ? "" : directory;
}

// Path at which a mount shows the file `root` of its file system; nothing if it does not show it.
static std::optional<std::string> path_in(const Mount& mount, const std::string& root) {
  const std::string directory = without_slash(mount.root);
  if (root.compare(0, directory.size(), directory) != 0 || root[directory.size()] != '/') return std::nullopt;
  const std::string path = without_slash(mount.point) + root.substr(directory.size());
  // Another mount may cover the file or a directory above it.
  return mount_id(path) == mount.id ? std::optional(path) : std::nullopt;
}

static bool is_writable(const std::string& path) {
  return faccessat(AT_FDCWD, path.substr(0, path.rfind('/') + 1).c_str(), W_OK, AT_EACCESS) == 0;
}

std::optional<std::string> find_entry(const std::string& path) {
  const std::vector<Mount> mounts = list_mounts();
  const auto mounted = mount_at(path, mounts);
  if (!mounted) return path;
  std::string root = mounted->root;
  const std::size_t end = root.rfind(kRemoved);
  if (end != std::string::npos) root.erase(end);
  std::optional<std::string> found;
  for (const Mount& mount : mounts) {
    const auto shown = mount.device == mounted->device ? path_in(mount, root) : std::nullopt;
    if (shown && (!found || is_writable(*shown))) found = shown;
  }
  return found;
}

// Between unmounting and mounting, the underlying file is visible. This is unavoidable: the kernel does not
// mount over a file that a rename has replaced.
bool mount_instead(const std::string& file, const std::string& path) {
  struct statvfs former {};
  if (mount_at(path, list_mounts()) &&
      (statvfs(path.c_str(), &former) != 0 || umount2(path.c_str(), MNT_DETACH) != 0)) {
    return false;
  }
  if (mount(file.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0) return false;
  const unsigned long options = former.f_flag & kMountOptions;
  return options == 0 || mount(nullptr, path.c_str(), nullptr, MS_REMOUNT | MS_BIND | options, nullptr) == 0;
}
