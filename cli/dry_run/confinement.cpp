#include "cli/dry_run/confinement.h"

#include <linux/capability.h>
#include <linux/netlink.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <initializer_list>
#include <memory>

// The capabilities that cmd_lanfab needs to write root's files and the settings of the network.
constexpr std::array<int, 4> kCapabilities = {CAP_CHOWN, CAP_DAC_OVERRIDE, CAP_FOWNER, CAP_NET_ADMIN};

// System calls that no run needs. Names that libseccomp does not know are skipped.
constexpr const char* kDeniedCalls[] = {
    // the file system
    "chroot", "fsconfig", "fsmount", "fsopen", "fspick", "mount", "mount_setattr", "move_mount",
    "name_to_handle_at", "open_by_handle_at", "open_tree", "open_tree_attr", "pivot_root", "quotactl",
    "quotactl_fd", "swapoff", "swapon", "umount", "umount2",
    // other processes and other namespaces
    "kcmp", "move_pages", "migrate_pages", "pidfd_getfd", "process_madvise", "process_vm_readv",
    "process_vm_writev", "ptrace", "setns", "unshare",
    // the kernel
    "acct", "add_key", "bpf", "create_module", "delete_module", "fanotify_init", "finit_module",
    "get_kernel_syms", "init_module", "ioperm", "iopl", "kexec_file_load", "kexec_load", "keyctl",
    "lookup_dcookie", "nfsservctl", "perf_event_open", "query_module", "reboot", "request_key", "syslog",
    "userfaultfd", "vhangup", "vm86", "vm86old",
    // the clock
    "adjtimex", "clock_adjtime", "clock_adjtime64", "clock_settime", "clock_settime64", "settimeofday",
    "stime"};

// System calls whose arguments a filter cannot see. They fail with ENOSYS, and programs do without them.
constexpr const char* kMissingCalls[] = {"clone3", "io_uring_enter", "io_uring_register", "io_uring_setup"};

static void limit_capabilities(const ResultPipe& pipe) {
  __user_cap_data_struct sets[2] = {};
  for (const int capability : kCapabilities)
    sets[0].permitted |= 1U << capability;
  sets[0].effective = sets[0].inheritable = sets[0].permitted;
  for (int capability = 0; prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability) {
    const bool is_needed =
        std::find(kCapabilities.begin(), kCapabilities.end(), capability) != kCapabilities.end();
    if (!is_needed) pipe.require(prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) == 0, "prctl");
  }
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct current[2] = {};
  pipe.require(syscall(SYS_capget, &header, current) == 0, "capget");
  sets[0].permitted &= current[0].permitted;
  sets[0].effective = sets[0].inheritable = sets[0].permitted;
  pipe.require(syscall(SYS_capset, &header, sets) == 0, "capset");
  // Without a user namespace, the user is not root, and programs only keep ambient capabilities.
  for (const int capability : kCapabilities)
    prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, capability, 0, 0);
}

constexpr unsigned kAll = ~0U;

// Compares bits of a 32-bit argument. The upper 32 bits are not compared, since the kernel ignores them.
static scmp_arg_cmp argument(unsigned position, unsigned bits, int value) {
  return {position, SCMP_CMP_MASKED_EQ, bits, static_cast<unsigned>(value)};
}

namespace {

// Makes system calls fail in this process and its children.
class CallFilter {
 public:
  // Programs of another architecture that the machine can run would bypass the filter, so they are killed.
  // 32-bit programs on 64-bit ARM are allowed, and the rules apply to them, too. 32-bit programs on x86-64
  // are not, since their system call for sockets passes its arguments in memory.
  CallFilter() {
    if (seccomp_arch_native() == SCMP_ARCH_AARCH64) seccomp_arch_add(filter_.get(), SCMP_ARCH_ARM);
    seccomp_attr_set(filter_.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS);
    deny_namespaces();
    deny_sockets();
    for (const int request : {TIOCSTI, TIOCLINUX})
      deny(EPERM, "ioctl", {argument(1, kAll, request)});
    for (const char* call : kDeniedCalls)
      deny(EPERM, call);
    for (const char* call : kMissingCalls)
      deny(ENOSYS, call);
  }

  void load(const ResultPipe& pipe) const {
    errno = -error_;
    pipe.require(error_ == 0, "seccomp_rule_add");
    const int error = seccomp_load(filter_.get());
    errno = -error;
    pipe.require(error == 0, "seccomp_load");
  }

 private:
  struct Release {
    void operator()(void* filter) const {
      seccomp_release(filter);
    }
  };

  // Does nothing for a call that libseccomp does not know.
  void deny(int error, const char* call, std::initializer_list<scmp_arg_cmp> arguments = {}) {
    const int number = seccomp_syscall_resolve_name(call);
    if (number == __NR_SCMP_ERROR) return;
    error_ = std::min(
        error_, seccomp_rule_add_array(filter_.get(), SCMP_ACT_ERRNO(static_cast<std::uint16_t>(error)),
                                       number, static_cast<unsigned>(arguments.size()), arguments.begin()));
  }

  void deny_namespaces() {
    for (const int flag : {CLONE_NEWNS, CLONE_NEWCGROUP, CLONE_NEWUTS, CLONE_NEWIPC, CLONE_NEWUSER,
                           CLONE_NEWPID, CLONE_NEWNET})
      deny(EPERM, "clone", {argument(0, static_cast<unsigned>(flag), flag)});
  }

  // Denies socket families that are not confined to the sandbox's network namespace, such as AF_VSOCK, and
  // the netlink protocols except for that of `ip`.
  void deny_sockets() {
    deny(EAFNOSUPPORT, "socket", {{0, SCMP_CMP_GT, AF_NETLINK, 0}});
    for (int family = 0; family < AF_NETLINK; ++family) {
      if (family != AF_UNIX && family != AF_INET && family != AF_INET6)
        deny(EAFNOSUPPORT, "socket", {argument(0, kAll, family)});
    }
    deny(EPROTONOSUPPORT, "socket", {argument(0, kAll, AF_NETLINK), {2, SCMP_CMP_NE, NETLINK_ROUTE, 0}});
  }

  std::unique_ptr<void, Release> filter_{seccomp_init(SCMP_ACT_ALLOW)};
  int error_ = 0;  // a negated errno if a rule could not be added, otherwise 0
};

}  // namespace

// Whether the kernel supports filters; an emulator may not. With support, the null pointer causes EFAULT.
static bool has_filters() {
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, nullptr, 0, 0);
  return errno == EFAULT;
}

static void forbid_cores(const ResultPipe& pipe) {
  rlimit core{};
  getrlimit(RLIMIT_CORE, &core);
  // One byte rather than none: a kernel that passes core dumps to a program ignores a limit of 0.
  core.rlim_cur = std::min<rlim_t>(1, core.rlim_max);
  pipe.require(setrlimit(RLIMIT_CORE, &core) == 0, "setrlimit");
}

void confine(const ResultPipe& pipe) {
  limit_capabilities(pipe);
  pipe.require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "prctl");
  // Programs in the sandbox have the same user, but must not read or control this process.
  pipe.require(prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0, "prctl");
  forbid_cores(pipe);
  if (has_filters()) CallFilter().load(pipe);
}
