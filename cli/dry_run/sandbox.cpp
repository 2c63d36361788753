#include "cli/dry_run/sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
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
  const Descriptor descriptor(open(file, O_WRONLY | O_CLOEXEC));
  return descriptor.is_open() && write_all(descriptor.number(), map);
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

static std::optional<Trouble> run_in(int namespaces, const Run& run, Outcome& outcome) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return Trouble{"pipe", errno};
  const Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  const Maker maker{geteuid(), getegid()};
  const std::string recorder = own_program();
  const pid_t process = fork_into(namespaces);
  if (process == 0) {
    close(reader.number());
    Report report(writer.number());
    end_with_maker(writer.number(), report);
    if ((namespaces & CLONE_NEWUSER) != 0) become_root(maker, report);
    live(run, recorder, report);
  }
  if (process < 0) return Trouble{"clone", errno, true};
  writer.close();
  std::string bytes;
  read_all(reader.number(), bytes);
  wait_for_child(process);
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
