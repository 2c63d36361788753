#include "cli/dry_run/root.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <initializer_list>
#include <set>

#include "cli/base/file.h"
#include "cli/dry_run/stub.h"

// The path of the machine's root while the sandbox's root is being set up.
constexpr char kWholeMachine[] = "/.sandbox/machine";

// Directories with programs and libraries. Some systems have them in /gnu or /nix.
constexpr const char* kSystemDirectories[] = {"/bin",    "/gnu", "/lib",  "/lib32", "/lib64",
                                              "/libx32", "/nix", "/sbin", "/usr"};

// Files where programs look up libraries, users, hosts, services, the time zone, alternatives and emulators.
constexpr const char* kSettings[] = {
    "/etc/alternatives", "/etc/gai.conf",   "/etc/group",        "/etc/host.conf", "/etc/hosts",
    "/etc/ld.so.cache",  "/etc/ld.so.conf", "/etc/ld.so.conf.d", "/etc/localtime", "/etc/nsswitch.conf",
    "/etc/passwd",       "/etc/protocols",  "/etc/qemu-binfmt",  "/etc/services"};

constexpr const char* kDevices[] = {"full", "null", "random", "urandom", "zero"};

// The target of a symbolic link; empty if the path is not a symbolic link.
static std::string target_of(const std::string& path) {
  std::error_code error;
  return std::filesystem::read_symlink(path, error);
}

namespace {

// Mounts the machine's files in the sandbox.
class Mounter {
 public:
  Mounter(const Identity& owner, const ResultPipe& pipe) : owner_(owner), pipe_(pipe) {}

  // Adds the machine's file, directory or link at the same path below kMachineRoot, if it exists.
  void show(const std::string& path) const {
    const std::string source = kWholeMachine + path;
    const std::string target = kMachineRoot + path;
    struct stat status {};
    struct stat there {};
    if (lstat(source.c_str(), &status) != 0 || lstat(target.c_str(), &there) == 0) return;
    if (S_ISLNK(status.st_mode)) return copy_link(source, target);
    pipe_.require(make_directories(target.substr(0, target.find_last_of('/')), 0755), "mkdir " + target);
    if (S_ISDIR(status.st_mode)) {
      pipe_.require(mkdir(target.c_str(), 0755) == 0, "mkdir " + target);
    } else if (!is_for_owner(status.st_mode)) {
      return copy_program(source, target);
    } else {
      make_file(target);
    }
    bind(source, target);
  }

  void show_device(const std::string& path) const {
    make_file(path);
    bind(kWholeMachine + path, path);
  }

  // Mounts a /proc with the processes of the sandbox and the settings of its network. In a container,
  // parts of the machine's /proc may be covered, and the kernel then refuses to mount another. In
  // that case only the machine's /proc/sys/net is mounted, which shows each process the settings of
  // its own network namespace.
  void add_proc() const {
    constexpr unsigned long kFlags = MS_NOSUID | MS_NODEV | MS_NOEXEC;
    constexpr char kNetwork[] = "/proc/sys/net";
    if (mount("lanfab", "/proc", "proc", kFlags, "hidepid=2") != 0) {
      pipe_.require(make_directories(kNetwork, 0755), "mkdir /proc/sys/net");
      return bind(std::string(kWholeMachine) + kNetwork, kNetwork);
    }
    bind(kNetwork, kNetwork);
    pipe_.require(mount(nullptr, "/proc", nullptr, kFlags | MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) == 0,
                  "mount /proc");
  }

  void bind(const std::string& source, const std::string& target) const {
    pipe_.require(mount(source.c_str(), target.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0,
                  "mount " + target);
  }

 private:
  // Whether the owner of the sandbox may run the file, if it is a program. An owner with ID 0 is the user
  // who called this program.
  bool is_for_owner(mode_t mode) const {
    constexpr mode_t kForOthers = S_IROTH | S_IXOTH;
    return owner_.user == 0 || (mode & kForOthers) == kForOthers || (mode & S_IXUSR) == 0;
  }

  void copy_program(const std::string& source, const std::string& target) const {
    File file;
    pipe_.require(read_file(source, file), "read " + source);
    pipe_.require(write_file({target, 0755, file.content}), "write " + target);
  }

  void make_file(const std::string& path) const {
    pipe_.require(write_file({path, 0644, ""}), "write " + path);
  }

  void copy_link(const std::string& source, const std::string& target) const {
    pipe_.require(symlink(target_of(source).c_str(), target.c_str()) == 0, "symlink " + target);
  }

  const Identity& owner_;
  const ResultPipe& pipe_;
};

// Creates the directories and links of the root.
class Builder {
 public:
  explicit Builder(const ResultPipe& pipe) : pipe_(pipe) {}

  void build() const {
    link_entries("", {"bin", "dev", "proc", "run", "sbin", "tmp", "usr", "var"});
    make_directory("/usr");
    link_entries("/usr", {"bin", "sbin"});
    for (const char* tools : {"/bin", "/sbin", "/usr/bin", "/usr/sbin"})
      add_tools(tools);
    make_directory("/var");
    for (const char* fresh : {"/run", "/tmp", "/var/data", "/var/volatile"})
      make_directory(fresh);
    link("/run", "/var/run");
  }

 private:
  void make_directory(const std::string& path) const {
    pipe_.require(mkdir(path.c_str(), 0755) == 0, "mkdir " + path);
  }

  void link(const std::string& target, const std::string& path) const {
    pipe_.require(symlink(target.c_str(), path.c_str()) == 0, "symlink " + path);
  }

  // Adds links to the machine's entries of a directory, except for the names in `except`.
  void link_entries(const std::string& directory, const std::set<std::string>& except) const {
    const std::string prefix = directory + "/";
    const auto names = list_directory(kMachineRoot + prefix);
    pipe_.require(names.has_value(), "opendir " + prefix);
    for (const std::string& name : *names)
      if (except.count(name) == 0) link(kMachineRoot + prefix + name, prefix + name);
  }

  // Copies the machine's link at `path`, if any, so that /bin leads to this root's /usr/bin. Returns
  // whether the machine has a link there.
  bool copy_link(const std::string& path) const {
    const std::string target = target_of(kMachineRoot + path);
    if (!target.empty()) link(target, path);
    return !target.empty();
  }

  // Adds links to the machine's tools in a directory, and to the stub for the stubbed tools.
  void add_tools(const std::string& directory) const {
    struct stat status {};
    if (stat((kMachineRoot + directory).c_str(), &status) != 0 || copy_link(directory)) return;
    make_directory(directory);
    link_entries(directory, stubbed_tools());
    const std::string prefix = directory + "/";
    for (const std::string& tool : stubbed_tools())
      link(kStub, prefix + tool);
  }

  const ResultPipe& pipe_;
};

}  // namespace

// Makes a new file system the root. The machine's root is at kWholeMachine afterwards.
static void change_root(const Identity& owner, const ResultPipe& pipe) {
  // Mounts in this namespace must not propagate to the machine.
  pipe.require(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mount /");
  // Any directory is suitable: the mount no longer covers it when the new file system is the root.
  constexpr char kMountPoint[] = "/tmp";
  pipe.require(mount("lanfab", kMountPoint, "tmpfs", MS_NOSUID | MS_NODEV, "mode=755") == 0, "mount tmpfs");
  pipe.require(chdir(kMountPoint) == 0, "chdir");
  pipe.require(chown(".", owner.user, owner.group) == 0, "chown");
  for (const char* directory : {".sandbox", ".sandbox/config", ".sandbox/machine", ".sandbox/real", "dev"}) {
    pipe.require(mkdir(directory, 0755) == 0, "mkdir");
    pipe.require(chown(directory, owner.user, owner.group) == 0, "chown");
  }
  pipe.require(mkdir("proc", 0755) == 0, "mkdir");
  pipe.require(syscall(SYS_pivot_root, ".", kWholeMachine + 1) == 0, "pivot_root");
  pipe.require(chdir("/") == 0, "chdir /");
}

// Makes all mounts below the directory read-only, so that the machine's files cannot be written.
static void make_read_only(const char* directory, const ResultPipe& pipe) {
  mount_attr attributes{};
  attributes.attr_set = MOUNT_ATTR_RDONLY | MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV;
  const long result =
      syscall(SYS_mount_setattr, AT_FDCWD, directory, AT_RECURSIVE, &attributes, sizeof attributes);
  pipe.require(result == 0, "mount_setattr");
}

void enter_root(const std::string& program, const Identity& owner, const ResultPipe& pipe) {
  change_root(owner, pipe);
  const Mounter mounter(owner, pipe);
  mounter.bind(kMachineRoot, kMachineRoot);
  for (const char* directory : kSystemDirectories)
    mounter.show(directory);
  for (const char* file : kSettings)
    mounter.show(file);
  mounter.show(program);
  make_read_only(kMachineRoot, pipe);
  for (const char* device : kDevices)
    mounter.show_device(std::string("/dev/") + device);
  mounter.add_proc();
  pipe.require(umount2(kWholeMachine, MNT_DETACH) == 0, "umount");
  pipe.require(rmdir(kWholeMachine) == 0, "rmdir");
}

void fill_root(const ResultPipe& pipe) {
  Builder(pipe).build();
}
