#include "cli/dry_run/sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "cli/dry_run/init.h"
#include "cli/dry_run/tree.h"

const char kConfigurationInWorld[] = "/.world/config/network.json";

constexpr int kNamespaces = CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWIPC;

constexpr char kHowToGoOn[] =
    "\n  A preview needs namespaces of its own, and this machine does not give them to this user."
    "\n  Run it as root, or allow them, by what the machine has of these:"
    "\n      sysctl user.max_user_namespaces=10000"
    "\n      sysctl kernel.unprivileged_userns_clone=1"
    "\n      sysctl kernel.apparmor_restrict_unprivileged_userns=0"
    "\n  A container needs CAP_SYS_ADMIN (--privileged), or the same on its host.";

namespace {

// Who makes the world: the ids that root of the world is outside.
struct Maker {
  uid_t user;
  gid_t group;
};

}  // namespace

// Ends this process when its maker ends, were it by SIGKILL, and before that could be asked for, too.
static void end_with_maker(int report_pipe, const Report& report) {
  report.require(prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0, "prctl");
  pollfd reader{report_pipe, 0, 0};
  if (poll(&reader, 1, 0) > 0) _exit(0);
}

static bool write_map(const char* file, const std::string& map) {
  const int descriptor = open(file, O_WRONLY | O_CLOEXEC);
  if (descriptor < 0) return false;
  const bool success = write(descriptor, map.data(), map.size()) == static_cast<ssize_t>(map.size());
  const int error = errno;
  close(descriptor);
  errno = error;
  return success;
}

static void become_root(const Maker& maker, const Report& report) {
  // An unprivileged process may map its group only when it gives up setgroups.
  report.require(write_map("/proc/self/setgroups", "deny"), "setgroups");
  report.require(write_map("/proc/self/uid_map", "0 " + std::to_string(maker.user) + " 1"), "uid_map");
  report.require(write_map("/proc/self/gid_map", "0 " + std::to_string(maker.group) + " 1"), "gid_map");
}

// Starts the first process of the namespaces; like fork(), it returns in both.
static pid_t fork_into(int namespaces) {
  return static_cast<pid_t>(syscall(SYS_clone, namespaces | SIGCHLD, 0, 0, 0, 0));
}

static std::string read_to_end(int pipe) {
  std::string bytes;
  char block[65536];
  while (true) {
    const ssize_t size = read(pipe, block, sizeof block);
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return bytes;
    bytes.append(block, static_cast<std::size_t>(size));
  }
}

static std::string own_path() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : "/proc/self/exe";
}

static std::optional<Trouble> run_in(int namespaces, const Run& run, Outcome& outcome) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return Trouble{"pipe", errno};
  const Maker maker{geteuid(), getegid()};
  const std::string recorder = own_path();
  const pid_t process = fork_into(namespaces);
  if (process == 0) {
    close(ends[0]);
    Report report(ends[1]);
    end_with_maker(ends[1], report);
    if ((namespaces & CLONE_NEWUSER) != 0) become_root(maker, report);
    live(run, recorder, report);
  }
  const int error = errno;
  close(ends[1]);
  const std::string bytes = read_to_end(ends[0]);
  close(ends[0]);
  if (process < 0) return Trouble{"clone", error, true};
  while (waitpid(process, nullptr, 0) < 0 && errno == EINTR) {
  }
  return decode(bytes, outcome);
}

// Whether the machine has refused rather than failed. A kernel without user namespaces finds the call
// invalid, one that grants no more of them has no space.
static bool is_refusal(const Trouble& trouble) {
  constexpr std::array<int, 5> kRefusals = {EPERM, EACCES, EINVAL, ENOSPC, ENOSYS};
  return trouble.is_in_the_making &&
         std::find(kRefusals.begin(), kRefusals.end(), trouble.error) != kRefusals.end();
}

std::optional<std::string> run_in_world(const Run& run, Outcome& outcome) {
  std::optional<Trouble> trouble = run_in(kNamespaces | CLONE_NEWUSER, run, outcome);
  // Root can do without a user namespace.
  if (trouble && is_refusal(*trouble) && geteuid() == 0) {
    outcome = {};
    trouble = run_in(kNamespaces, run, outcome);
  }
  if (!trouble) return std::nullopt;
  std::string text = trouble->what;
  if (trouble->error != 0) text += std::string(": ") + std::strerror(trouble->error);
  if (is_refusal(*trouble)) text += kHowToGoOn;
  return text;
}
