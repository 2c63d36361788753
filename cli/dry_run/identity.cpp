#include "cli/dry_run/identity.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/securebits.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <sstream>

#include "cli/base/file.h"

static bool is_mapped(const std::string& map, unsigned id) {
  std::istringstream lines(map);
  std::uint64_t inside = 0;
  std::uint64_t outside = 0;
  std::uint64_t count = 0;
  while (lines >> inside >> outside >> count)
    if (id >= inside && id - inside < count) return true;
  return false;
}

std::optional<unsigned> unused_id(const std::string& map, const std::function<bool(unsigned id)>& is_taken) {
  // Neither Debian nor systemd assigns these.
  constexpr unsigned kFirst = 65520;
  constexpr unsigned kLast = 65533;
  for (unsigned id = kLast; id >= kFirst; --id)
    if (is_mapped(map, id) && !is_taken(id)) return id;
  return std::nullopt;
}

static std::string text_of(const char* path) {
  File file;
  read_file(path, file);
  return file.content;
}

std::optional<Identity> unused_identity() {
  const auto user =
      unused_id(text_of("/proc/self/uid_map"), [](unsigned id) { return getpwuid(id) != nullptr; });
  const auto group =
      unused_id(text_of("/proc/self/gid_map"), [](unsigned id) { return getgrgid(id) != nullptr; });
  if (geteuid() != 0 || !user || !group) return std::nullopt;
  return Identity{*user, *group};
}

static bool write_into(int directory, const char* file, const std::string& text) {
  const Descriptor descriptor(openat(directory, file, O_WRONLY | O_CLOEXEC));
  return descriptor.is_open() && write_all(descriptor.number(), text);
}

void become_root(const Identity& outside, int proc, const ResultPipe& pipe) {
  // An unprivileged process may only map its group after it has given up setgroups.
  pipe.require(write_into(proc, "self/setgroups", "deny"), "setgroups");
  pipe.require(write_into(proc, "self/uid_map", "0 " + std::to_string(outside.user) + " 1"), "uid_map");
  pipe.require(write_into(proc, "self/gid_map", "0 " + std::to_string(outside.group) + " 1"), "gid_map");
}

void change_to(const Identity& identity, const ResultPipe& pipe) {
  pipe.require(prctl(PR_SET_SECUREBITS, SECBIT_NO_SETUID_FIXUP, 0, 0, 0) == 0, "prctl");
  pipe.require(setgroups(0, nullptr) == 0, "setgroups");
  pipe.require(setresgid(identity.group, identity.group, identity.group) == 0, "setresgid");
  pipe.require(setresuid(identity.user, identity.user, identity.user) == 0, "setresuid");
  // Otherwise the files of this process in /proc would still belong to root.
  pipe.require(prctl(PR_SET_DUMPABLE, 1, 0, 0, 0) == 0, "prctl");
}
