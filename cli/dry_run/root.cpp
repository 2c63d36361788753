#include "cli/dry_run/root.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <initializer_list>
#include <set>

#include "cli/base/file.h"
#include "cli/dry_run/stub.h"

namespace {

// Makes what is in the root.
class Builder {
 public:
  Builder(std::string stub, const ResultPipe& pipe) : stub_(std::move(stub)), pipe_(pipe) {}

  void build() const {
    link_entries("", {".sandbox", "bin", "dev", "proc", "run", "sbin", "tmp", "usr", "var"});
    make_directory("/usr");
    link_entries("/usr", {"bin", "sbin"});
    for (const char* tools : {"/bin", "/sbin", "/usr/bin", "/usr/sbin"})
      add_tools(tools);
    make_directory("/var");
    link_entries("/var", {"data", "run", "volatile"});
    for (const char* fresh : {"/dev", "/proc", "/run", "/tmp", "/var/data", "/var/volatile"})
      make_directory(fresh);
    link("/run", "/var/run");
    for (const char* device : {"full", "null", "random", "tty", "urandom", "zero"})
      link(std::string(kMachineRoot) + "/dev/" + device, std::string("/dev/") + device);
    add_proc();
  }

 private:
  void make_directory(const std::string& path) const {
    pipe_.require(mkdir(path.c_str(), 0755) == 0, "mkdir " + path);
  }

  void link(const std::string& target, const std::string& path) const {
    pipe_.require(symlink(target.c_str(), path.c_str()) == 0, "symlink " + path);
  }

  // Links to the machine's entries of a directory; a link itself is copied, so that /bin leads to this root's
  // /usr/bin.
  void link_entries(const std::string& directory, const std::set<std::string>& except) const {
    const std::string prefix = directory + "/";
    const auto names = list_directory(kMachineRoot + prefix);
    pipe_.require(names.has_value(), "opendir " + prefix);
    for (const std::string& name : *names) {
      const std::string path = prefix + name;
      if (except.count(name) == 0 && !copy_link(path)) link(kMachineRoot + path, path);
    }
  }

  // Whether the machine has a link at `path`.
  bool copy_link(const std::string& path) const {
    char target[4096];
    const ssize_t length = readlink((kMachineRoot + path).c_str(), target, sizeof target);
    if (length < 0) return false;
    link(std::string(target, static_cast<std::size_t>(length)), path);
    return true;
  }

  // The machine's tools in a directory, and the stubs.
  void add_tools(const std::string& directory) const {
    struct stat status {};
    if (stat((kMachineRoot + directory).c_str(), &status) != 0 || copy_link(directory)) return;
    make_directory(directory);
    link_entries(directory, stubbed_tools());
    const std::string prefix = directory + "/";
    for (const std::string& tool : stubbed_tools())
      link(kMachineRoot + stub_, prefix + tool);
  }

  // In a container the machine's own may be covered in part, and the kernel then grants no other.
  void add_proc() const {
    if (mount("lanfab", "/proc", "proc", 0, nullptr) == 0) return;
    pipe_.require(rmdir("/proc") == 0, "rmdir /proc");
    link(std::string(kMachineRoot) + "/proc", "/proc");
  }

  std::string stub_;
  const ResultPipe& pipe_;
};

}  // namespace

// Nothing of the machine's can be written from here on, whatever may be tried.
static void make_read_only(const char* directory, const ResultPipe& pipe) {
  mount_attr attributes{};
  attributes.attr_set = MOUNT_ATTR_RDONLY;
  const long result =
      syscall(SYS_mount_setattr, AT_FDCWD, directory, AT_RECURSIVE, &attributes, sizeof attributes);
  pipe.require(result == 0, "mount_setattr");
}

void enter_root(const std::string& stub, const ResultPipe& pipe) {
  // What is mounted here must not reach the machine.
  pipe.require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount /");
  // Any directory does: the machine's own is seen again once this is the root.
  constexpr char kMountPoint[] = "/tmp";
  pipe.require(mount("lanfab", kMountPoint, "tmpfs", 0, "mode=755") == 0, "mount tmpfs");
  pipe.require(chdir(kMountPoint) == 0, "chdir");
  for (const char* directory : {".sandbox", ".sandbox/real", ".sandbox/config"})
    pipe.require(mkdir(directory, 0755) == 0, "mkdir");
  pipe.require(syscall(SYS_pivot_root, ".", ".sandbox/real") == 0, "pivot_root");
  pipe.require(chdir("/") == 0, "chdir /");
  make_read_only(kMachineRoot, pipe);
  Builder(stub, pipe).build();
}
