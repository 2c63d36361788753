#include "cli/dry_run/sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <vector>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/dry_run/identity.h"
#include "cli/dry_run/init.h"
#include "cli/dry_run/limits.h"
#include "cli/dry_run/root.h"

const char kSandboxConfigurationFile[] = "/.sandbox/config/network.json";

constexpr char kAdvice[] =
    "\n  A dry run requires unprivileged user namespaces, which are disabled on this machine."
    "\n  Run it as root, or enable them with those of these settings that the machine has:"
    "\n      sysctl user.max_user_namespaces=10000"
    "\n      sysctl kernel.unprivileged_userns_clone=1"
    "\n      sysctl kernel.apparmor_restrict_unprivileged_userns=0"
    "\n  A container needs CAP_SYS_ADMIN (--privileged), or the same on its host.";

constexpr int kOwnNamespaces = CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWIPC;

namespace {

// A way to create the sandbox.
struct Way {
  int namespaces;                    // new ones for its first process
  std::optional<Identity> identity;  // the first process changes to it after all mounts
};

}  // namespace

constexpr int kAllNamespaces = kOwnNamespaces | CLONE_NEWNS | CLONE_NEWPID;

// Kills this process when its creator ends, even by SIGKILL, or ends it now if the creator has already ended.
static void end_with_maker(int descriptor, const ResultPipe& pipe) {
  pipe.require(prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) == 0, "prctl");
  pollfd reader{descriptor, 0, 0};
  if (poll(&reader, 1, 0) > 0) _exit(0);
}

// Changes permanently from root to another user. If possible, the process becomes root in a new user
// namespace, which owns its other new namespaces, so it has no privileges outside of it.
static void leave_root(const Identity& identity, int proc, const ResultPipe& pipe) {
  change_to(identity, pipe);
  if (unshare(kOwnNamespaces | CLONE_NEWUSER) == 0) return become_root(identity, proc, pipe);
  pipe.require(unshare(kOwnNamespaces) == 0, "unshare");
}

// The first process of the sandbox.
[[noreturn]] static void run_inside(const Way& way, const Identity& maker, const SandboxRun& run,
                                    int descriptor) {
  ResultPipe pipe(descriptor);
  end_with_maker(descriptor, pipe);
  // Detaches this process from the caller's terminal.
  pipe.require(setsid() >= 0, "setsid");
  umask(022);
  const Descriptor proc(open("/proc", O_PATH | O_DIRECTORY | O_CLOEXEC));
  pipe.require(proc.is_open(), "open /proc");
  if ((way.namespaces & CLONE_NEWUSER) != 0) become_root(maker, proc.number(), pipe);
  enter_root(run.program, way.identity.value_or(Identity{0, 0}), pipe);
  if (way.identity) {
    leave_root(*way.identity, proc.number(), pipe);
    // The change of the user has reset the parent-death signal.
    end_with_maker(descriptor, pipe);
  }
  run_init(run, pipe);
}

// Starts the first process of new namespaces. Like fork(), it returns in both processes.
static pid_t fork_into(int namespaces) {
  return static_cast<pid_t>(syscall(SYS_clone, namespaces | SIGCHLD, 0, 0, 0, 0));
}

// Reads until the sandbox has ended. Returns false, with errno set, on failure; ETIMEDOUT means that the
// time limit was reached.
static bool read_in_time(int descriptor, int seconds, std::string& bytes) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (true) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    pollfd reader{descriptor, POLLIN, 0};
    errno = ETIMEDOUT;
    if (poll(&reader, 1, static_cast<int>(std::max<std::int64_t>(0, left.count()))) <= 0) return false;
    char block[65536];
    const ssize_t size = read(descriptor, block, sizeof block);
    if (size <= 0) return size == 0;
    bytes.append(block, static_cast<std::size_t>(size));
  }
}

static std::optional<SandboxError> run_in(const Way& way, const SandboxRun& run, DryRunResult& result) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return SandboxError{"pipe", errno};
  const Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  const Identity maker{geteuid(), getegid()};
  const pid_t process = fork_into(way.namespaces);
  if (process == 0) {
    close(reader.number());
    run_inside(way, maker, run, writer.number());
  }
  if (process < 0) return SandboxError{"clone", errno, true};
  writer.close();
  std::string bytes;
  const bool is_complete = read_in_time(reader.number(), run.seconds, bytes);
  const int error = errno;
  if (!is_complete) kill(process, SIGKILL);
  wait_for_child(process);
  if (is_complete) return decode(bytes, result);
  if (error != ETIMEDOUT) return SandboxError{"read", error};
  result.is_out_of_time = true;
  return SandboxError{"the run was stopped: it took longer than " + std::to_string(run.seconds) + " s"};
}
// Whether the machine does not allow a sandbox. A kernel without user namespaces reports EINVAL; one that
// does not allow more of them reports ENOSPC.
static bool is_refusal(const SandboxError& error) {
  constexpr std::array<int, 5> kRefusals = {EPERM, EACCES, EINVAL, ENOSPC, ENOSYS};
  return error.is_in_setup && std::find(kRefusals.begin(), kRefusals.end(), error.code) != kRefusals.end();
}

// The ways to create the sandbox, in the order in which they are tried. Root mounts without a user
// namespace and then changes to an unused user. All other users become root in a user namespace; so does
// root if that fails or if there is no unused user. Finally, root does without a user namespace.
static std::vector<Way> ways() {
  std::vector<Way> all;
  if (const auto identity = unused_identity()) all.push_back({CLONE_NEWNS | CLONE_NEWPID, identity});
  all.push_back({kAllNamespaces | CLONE_NEWUSER, std::nullopt});
  if (geteuid() == 0) all.push_back({kAllNamespaces, std::nullopt});
  return all;
}

std::optional<std::string> run_in_sandbox(const SandboxRun& run, DryRunResult& result) {
  SandboxError error;
  for (const Way& way : ways()) {
    result = {};
    const auto failure = run_in(way, run, result);
    if (!failure) return std::nullopt;
    error = *failure;
    if (!is_refusal(error)) break;
  }
  std::string text = printable(error.what);
  if (error.code != 0) text += std::string(": ") + std::strerror(error.code);
  if (is_refusal(error)) text += kAdvice;
  return text;
}
