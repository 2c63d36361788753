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
#include "cli/base/terminal.h"
#include "cli/dry_run/init.h"
#include "cli/dry_run/tree.h"

const char kSandboxConfigurationFile[] = "/.sandbox/config/network.json";

constexpr int kNamespaces = CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWIPC;

constexpr char kHowToGoOn[] =
    "\n  A preview needs namespaces of its own, and this machine does not give them to this user."
    "\n  Run it as root, or allow them, by what the machine has of these:"
    "\n      sysctl user.max_user_namespaces=10000"
    "\n      sysctl kernel.unprivileged_userns_clone=1"
    "\n      sysctl kernel.apparmor_restrict_unprivileged_userns=0"
    "\n  A container needs CAP_SYS_ADMIN (--privileged), or the same on its host.";

namespace {

// Who makes the sandbox: the IDs outside that the sandbox's root is mapped to.
struct Maker {
  uid_t user;
  gid_t group;
};

}  // namespace

// Ends this process when its maker ends, were it by SIGKILL, and before that could be asked for, too.
static void end_with_maker(int descriptor, const ResultPipe& pipe) {
  pipe.require(prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0, "prctl");
  pollfd reader{descriptor, 0, 0};
  if (poll(&reader, 1, 0) > 0) _exit(0);
}

static bool write_map(const char* file, const std::string& map) {
  const Descriptor descriptor(open(file, O_WRONLY | O_CLOEXEC));
  return descriptor.is_open() && write_all(descriptor.number(), map);
}

static void become_root(const Maker& maker, const ResultPipe& pipe) {
  // An unprivileged process may map its group only when it gives up setgroups.
  pipe.require(write_map("/proc/self/setgroups", "deny"), "setgroups");
  pipe.require(write_map("/proc/self/uid_map", "0 " + std::to_string(maker.user) + " 1"), "uid_map");
  pipe.require(write_map("/proc/self/gid_map", "0 " + std::to_string(maker.group) + " 1"), "gid_map");
}

// Starts the first process of the namespaces; like fork(), it returns in both.
static pid_t fork_into(int namespaces) {
  return static_cast<pid_t>(syscall(SYS_clone, namespaces | SIGCHLD, 0, 0, 0, 0));
}

static std::optional<SandboxError> run_in(int namespaces, const SandboxRun& run, DryRunResult& result) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return SandboxError{"pipe", errno};
  const Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  const Maker maker{geteuid(), getegid()};
  const std::string stub = own_program();
  const pid_t process = fork_into(namespaces);
  if (process == 0) {
    close(reader.number());
    ResultPipe pipe(writer.number());
    end_with_maker(writer.number(), pipe);
    if ((namespaces & CLONE_NEWUSER) != 0) become_root(maker, pipe);
    run_init(run, stub, pipe);
  }
  if (process < 0) return SandboxError{"clone", errno, true};
  writer.close();
  std::string bytes;
  read_all(reader.number(), bytes);
  wait_for_child(process);
  return decode(bytes, result);
}

// Whether the machine has refused rather than failed. A kernel without user namespaces finds the call
// invalid, one that grants no more of them has no space.
static bool is_refusal(const SandboxError& error) {
  constexpr std::array<int, 5> kRefusals = {EPERM, EACCES, EINVAL, ENOSPC, ENOSYS};
  return error.is_in_setup && std::find(kRefusals.begin(), kRefusals.end(), error.code) != kRefusals.end();
}

std::optional<std::string> run_in_sandbox(const SandboxRun& run, DryRunResult& result) {
  std::optional<SandboxError> error = run_in(kNamespaces | CLONE_NEWUSER, run, result);
  // Root can do without a user namespace.
  if (error && is_refusal(*error) && geteuid() == 0) {
    result = {};
    error = run_in(kNamespaces, run, result);
  }
  if (!error) return std::nullopt;
  std::string text = printable(error->what);
  if (error->code != 0) text += std::string(": ") + std::strerror(error->code);
  if (is_refusal(*error)) text += kHowToGoOn;
  return text;
}
