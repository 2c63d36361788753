// Runs a command under ptrace, counts the system calls of each of its processes, and disturbs one of them.
//
//   fault_tracer --report FILE --calls all|program -- COMMAND...
//       lists every process and every call
//   fault_tracer --report FILE --calls all|program --at PROCESS:CALL --disturb HOW[:NUMBER] -- COMMAND...
//       disturbs the call CALL of the process PROCESS; both are counted from 0, as in the list
//
// With --calls all, the calls of the dynamic loader count, too.
//
// HOW, with the number of an error or a signal:
//   error    the call is not made and fails
//   late     the call is made and fails
//   short    a write transfers half of the bytes
//   torn     a read or write transfers half of the bytes; the next one on the descriptor fails
//   signal   the first process gets the signal; if another process makes the call, it is held until the first
//            one has handled the signal
//   group    the whole process group gets the signal, as from a terminal
//
// A process is counted when it is forked, a call when it begins. Therefore, the numbers are the same in every
// run of a program whose processes wait for each other.
//
// Each line of the report is one of these, its fields separated by tabs:
//   process NUMBER PARENT COMMAND...                     it was forked, or (PARENT is -1) executed a program
//   call PROCESS CALL loader|program NAME NUMBER PATH    NUMBER is the third argument: a length or flags
//   disturbed PROCESS CALL NAME
//   end exit|signal NUMBER                               of the first process, when all have ended

#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/personality.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

// The argument that is listed as the path of a call: none, the first one as a descriptor or a path, or the
// second one as a path.
enum Object { kNone, kDescriptor, kPath, kPathAt };

struct Call {
  long number;
  const char* name;
  Object object;
};

struct Process {
  int number = 0;
  int calls = 0;
  bool has_executed = false;
};

// The address range of the dynamic loader.
struct Range {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

struct Disturbance {
  int process = -1;
  int call = -1;
  std::string how;
  int number = 0;
};

// The remaining steps after the disturbed call was resumed.
struct Pending {
  pid_t pid = 0;
  bool at_exit = false;               // the result of the call is still to be changed
  std::uint64_t torn_call = 0;        // the next call with this number ...
  std::uint64_t torn_descriptor = 0;  // ... on this descriptor fails
};

}  // namespace

// The calls that are counted: those that can fail, and those between which a signal matters.
static constexpr std::array kCalls = {
    Call{SYS_access, "access", kPath},
    Call{SYS_chmod, "chmod", kPath},
    Call{SYS_clock_nanosleep, "clock_nanosleep", kNone},
    Call{SYS_clone, "clone", kNone},
    Call{SYS_clone3, "clone3", kNone},
    Call{SYS_close, "close", kDescriptor},
    Call{SYS_connect, "connect", kDescriptor},
    Call{SYS_copy_file_range, "copy_file_range", kNone},
    Call{SYS_dup2, "dup2", kDescriptor},
    Call{SYS_execve, "execve", kPath},
    Call{SYS_exit_group, "exit_group", kNone},
    Call{SYS_faccessat2, "faccessat2", kPathAt},
    Call{SYS_fchmod, "fchmod", kDescriptor},
    Call{SYS_fchmodat, "fchmodat", kPathAt},
    Call{SYS_fchown, "fchown", kDescriptor},
    Call{SYS_fcntl, "fcntl", kDescriptor},
    Call{SYS_fdatasync, "fdatasync", kDescriptor},
    Call{SYS_flock, "flock", kDescriptor},
    Call{SYS_fork, "fork", kNone},
    Call{SYS_fsync, "fsync", kDescriptor},
    Call{SYS_ftruncate, "ftruncate", kDescriptor},
    Call{SYS_getdents64, "getdents64", kDescriptor},
    Call{SYS_ioctl, "ioctl", kDescriptor},
    Call{SYS_lseek, "lseek", kDescriptor},
    Call{SYS_mkdir, "mkdir", kPath},
    Call{SYS_mkdirat, "mkdirat", kPathAt},
    Call{SYS_mmap, "mmap", kNone},
    Call{SYS_mount, "mount", kPathAt},
    Call{SYS_openat, "openat", kPathAt},
    Call{SYS_pipe2, "pipe2", kNone},
    Call{SYS_poll, "poll", kNone},
    Call{SYS_pread64, "pread64", kDescriptor},
    Call{SYS_pwrite64, "pwrite64", kDescriptor},
    Call{SYS_read, "read", kDescriptor},
    Call{SYS_readlink, "readlink", kPath},
    Call{SYS_recvfrom, "recvfrom", kDescriptor},
    Call{SYS_rename, "rename", kPath},
    Call{SYS_renameat2, "renameat2", kPathAt},
    Call{SYS_sendmmsg, "sendmmsg", kDescriptor},
    Call{SYS_sendto, "sendto", kDescriptor},
    Call{SYS_socket, "socket", kNone},
    Call{SYS_umount2, "umount2", kPath},
    Call{SYS_unlink, "unlink", kPath},
    Call{SYS_unlinkat, "unlinkat", kPathAt},
    Call{SYS_unshare, "unshare", kNone},
    Call{SYS_utimensat, "utimensat", kPathAt},
    Call{SYS_vfork, "vfork", kNone},
    Call{SYS_wait4, "wait4", kNone},
    Call{SYS_waitid, "waitid", kNone},
    Call{SYS_write, "write", kDescriptor},
    Call{SYS_writev, "writev", kDescriptor},
};

// The processes by PID, and the PIDs of children that stopped before the fork was reported.
static std::map<pid_t, Process> processes;
static std::vector<pid_t> early_children;
static int process_count = 0;
static pid_t first_pid = 0;
static pid_t held_pid = 0;
static Disturbance disturbance;
static Pending pending;
static std::FILE* report = nullptr;
static Range loader;
static bool traces_loader = false;

[[noreturn]] static void fail(const char* what) {
  std::perror(what);
  std::exit(125);
}

static const Call* find_call(std::uint64_t number) {
  const auto* found = std::find_if(kCalls.begin(), kCalls.end(), [number](const Call& call) {
    return static_cast<std::uint64_t>(call.number) == number;
  });
  return found == kCalls.end() ? nullptr : found;
}

// Executes this program again without address randomization: the addresses are then the same in every run,
// and those of the loader also in every process.
static void fix_addresses(char* argv[]) {
  if ((personality(0xffffffff) & ADDR_NO_RANDOMIZE) != 0) return;
  personality(ADDR_NO_RANDOMIZE);
  execv("/proc/self/exe", argv);
  fail("/proc/self/exe");
}

static Range find_loader() {
  Range found;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    Range mapped;
    if (line.find("/ld-linux") == std::string::npos) continue;
    if (std::sscanf(line.c_str(), "%lx-%lx", &mapped.begin, &mapped.end) != 2) continue;
    if (found.begin == 0) found.begin = mapped.begin;
    found.end = mapped.end;
  }
  return found;
}

static bool is_in(const Range& range, std::uint64_t address) {
  return address >= range.begin && address < range.end;
}

// Allows the calls of the loader without a stop. The loader's addresses differ only in their lower halves.
static void pass_loader(std::vector<sock_filter>& filter) {
  constexpr auto kAddress = static_cast<std::uint32_t>(offsetof(seccomp_data, instruction_pointer));
  filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kAddress + 4));
  filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(loader.begin >> 32), 0, 4));
  filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kAddress));
  filter.push_back(BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, static_cast<std::uint32_t>(loader.begin), 0, 2));
  filter.push_back(BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, static_cast<std::uint32_t>(loader.end), 1, 0));
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
}

// Makes the kernel stop the process only at the calls of kCalls.
static void install_filter() {
  std::vector<sock_filter> filter;
  if (!traces_loader) pass_loader(filter);
  filter.push_back(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)));
  for (const Call& call : kCalls) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(call.number), 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRACE));
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    fail("seccomp");
  }
}

// Starts the command, traced from its first instruction; returns its PID.
static pid_t start(char* command[]) {
  int ready[2];
  if (pipe(ready) != 0) fail("pipe");
  const pid_t pid = fork();
  if (pid < 0) fail("fork");
  if (pid == 0) {
    close(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) _exit(125);
    close(ready[0]);
    setpgid(0, 0);
    install_filter();
    execv(command[0], command);
    fail(command[0]);
  }
  close(ready[0]);
  constexpr long kOptions = PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE |
                            PTRACE_O_TRACEEXEC | PTRACE_O_TRACESECCOMP | PTRACE_O_TRACESYSGOOD |
                            PTRACE_O_EXITKILL;
  if (ptrace(PTRACE_SEIZE, pid, nullptr, kOptions) != 0) fail("ptrace");
  if (write(ready[1], "", 1) != 1) fail("pipe");
  close(ready[1]);
  return pid;
}

static std::string text_of(pid_t pid, const char* file) {
  std::ifstream stream("/proc/" + std::to_string(pid) + "/" + file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

static std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char byte) { return byte == '\t' || byte == '\n'; }, ' ');
  return text;
}

static std::string command_of(pid_t pid) {
  std::string command = text_of(pid, "cmdline");
  if (!command.empty()) command.pop_back();
  std::replace(command.begin(), command.end(), '\0', ' ');
  return printable(command);
}

static std::string string_at(pid_t pid, std::uint64_t address) {
  std::ifstream memory("/proc/" + std::to_string(pid) + "/mem", std::ios::binary);
  memory.seekg(static_cast<std::streamoff>(address));
  std::string text;
  std::getline(memory, text, '\0');
  return printable(text);
}

static std::string object_of(pid_t pid, const Call& call, const user_regs_struct& registers) {
  if (call.object == kPath) return string_at(pid, registers.rdi);
  if (call.object == kNone) return "";
  if (call.object == kPathAt) return string_at(pid, registers.rsi);
  const std::string link = "/proc/" + std::to_string(pid) + "/fd/" + std::to_string(registers.rdi);
  char target[PATH_MAX];
  const ssize_t length = readlink(link.c_str(), target, sizeof target);
  const std::string path(target, length < 0 ? 0 : static_cast<std::size_t>(length));
  // Omit the number of a socket or a pipe, which differs in every run.
  return path.substr(0, path.find(":["));
}

static void list_process(pid_t pid, int number, int parent) {
  std::fprintf(report, "process\t%d\t%d\t%s\n", number, parent, command_of(pid).c_str());
}

static void list_call(pid_t pid, const Process& process, const Call& call,
                      const user_regs_struct& registers) {
  const bool has_argument = call.object == kDescriptor || call.object == kPathAt;
  std::fprintf(report, "call\t%d\t%d\t%s\t%s\t%llu\t%s\n", process.number, process.calls,
               is_in(loader, registers.rip) ? "loader" : "program", call.name,
               has_argument ? registers.rdx : 0, object_of(pid, call, registers).c_str());
}

static void let_go(pid_t pid, int signal = 0) {
  // This fails if the process was killed meanwhile, which waitpid reports.
  ptrace(PTRACE_CONT, pid, nullptr, signal);
}

static void let_go_to_exit(pid_t pid) {
  ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr);
}

static void refuse(pid_t pid, user_regs_struct& registers, int error) {
  registers.orig_rax = static_cast<unsigned long long>(-1);
  registers.rax = static_cast<unsigned long long>(-error);
  ptrace(PTRACE_SETREGS, pid, nullptr, &registers);
  let_go(pid);
}

// Whether the first process will handle the signal immediately, so that `other` can be held until then.
static bool acts_on(int signal, const Process& other) {
  // The parent of a vfork sleeps until its child has executed a program.
  if (!other.has_executed) return false;
  const std::string status = text_of(first_pid, "status");
  for (const char* field : {"SigBlk:", "SigIgn:"}) {
    const std::size_t at = status.find(field);
    if (at == std::string::npos) return false;
    const std::uint64_t mask = std::strtoull(status.c_str() + at + std::strlen(field), nullptr, 16);
    if ((mask >> (signal - 1) & 1) != 0) return false;
  }
  return true;
}

static void send_signal(pid_t pid, const Process& process) {
  if (disturbance.how == "group") {
    kill(-first_pid, disturbance.number);
  } else {
    const bool waits = pid != first_pid && acts_on(disturbance.number, process);
    kill(first_pid, disturbance.number);
    if (waits) {
      held_pid = pid;
      return;
    }
  }
  let_go(pid);
}

static void disturb(pid_t pid, const Process& process, user_regs_struct& registers) {
  const Call* call = find_call(registers.orig_rax);
  std::fprintf(report, "disturbed\t%d\t%d\t%s\n", process.number, process.calls, call->name);
  const bool writes = registers.orig_rax == SYS_write || registers.orig_rax == SYS_pwrite64;
  if (disturbance.how == "signal" || disturbance.how == "group") {
    send_signal(pid, process);
  } else if (disturbance.how == "error") {
    refuse(pid, registers, disturbance.number);
  } else if (writes && (disturbance.how == "short" || disturbance.how == "torn")) {
    if (disturbance.how == "torn") pending = {pid, false, registers.orig_rax, registers.rdi};
    registers.rdx /= 2;
    ptrace(PTRACE_SETREGS, pid, nullptr, &registers);
    let_go(pid);
  } else {
    pending = {pid, true, registers.orig_rax, registers.rdi};
    let_go_to_exit(pid);
  }
}

static void handle_call(pid_t pid, bool lists) {
  Process& process = processes[pid];
  const bool is_disturbed = process.number == disturbance.process && process.calls == disturbance.call;
  const bool may_be_torn = pending.pid == pid && !pending.at_exit;
  const bool may_release = held_pid != 0 && pid == first_pid;
  user_regs_struct registers{};
  if (lists || is_disturbed || may_be_torn || may_release) ptrace(PTRACE_GETREGS, pid, nullptr, &registers);
  if (may_release && (registers.orig_rax == SYS_wait4 || registers.orig_rax == SYS_waitid)) {
    let_go(held_pid);
    held_pid = 0;
  }
  if (lists) list_call(pid, process, *find_call(registers.orig_rax), registers);
  if (is_disturbed) {
    disturb(pid, process, registers);
  } else if (may_be_torn && registers.orig_rax == pending.torn_call &&
             registers.rdi == pending.torn_descriptor) {
    pending = {};
    refuse(pid, registers, disturbance.number);
  } else {
    if (may_be_torn && registers.orig_rax == SYS_close && registers.rdi == pending.torn_descriptor)
      pending = {};
    let_go(pid);
  }
  ++process.calls;
}

// Changes the result of the disturbed call, if that remains to be done.
static void handle_exit_of_call(pid_t pid) {
  if (pending.pid == pid && pending.at_exit) {
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, pid, nullptr, &registers);
    pending.at_exit = false;
    if (disturbance.how == "torn") {
      // A transfer of less than two bytes cannot be halved, and the end of a file is not a failure.
      if (static_cast<std::int64_t>(registers.rax) < 2) pending = {};
      if (static_cast<std::int64_t>(registers.rax) > 1) registers.rax /= 2;
    } else {
      registers.rax = static_cast<unsigned long long>(-disturbance.number);
      pending = {};
    }
    ptrace(PTRACE_SETREGS, pid, nullptr, &registers);
  }
  let_go(pid);
}

static void handle_fork(pid_t pid, bool lists) {
  unsigned long child = 0;
  ptrace(PTRACE_GETEVENTMSG, pid, nullptr, &child);
  const auto child_pid = static_cast<pid_t>(child);
  Process process;
  process.number = process_count++;
  processes[child_pid] = process;
  if (lists) list_process(child_pid, process.number, processes[pid].number);
  const auto early = std::find(early_children.begin(), early_children.end(), child_pid);
  if (early != early_children.end()) {
    early_children.erase(early);
    let_go(child_pid);
  }
  let_go(pid);
}

static void handle_exec(pid_t pid, bool lists) {
  Process& process = processes[pid];
  process.has_executed = true;
  if (lists) list_process(pid, process.number, -1);
  let_go(pid);
}

static void handle_stop(pid_t pid, int status, bool lists) {
  switch (status >> 16) {
    case PTRACE_EVENT_SECCOMP:
      return handle_call(pid, lists);
    case PTRACE_EVENT_FORK:
    case PTRACE_EVENT_VFORK:
    case PTRACE_EVENT_CLONE:
      return handle_fork(pid, lists);
    case PTRACE_EVENT_EXEC:
      return handle_exec(pid, lists);
    case PTRACE_EVENT_STOP:
      if (processes.count(pid) == 0) {
        early_children.push_back(pid);
        return;
      }
      return let_go(pid);
    default:
      if (WSTOPSIG(status) == (SIGTRAP | 0x80)) return handle_exit_of_call(pid);
      return let_go(pid, WSTOPSIG(status));
  }
}

// Waits until all processes have exited; returns the wait status of the first one.
static int follow(bool lists) {
  int first_status = 0;
  int status = 0;
  for (pid_t pid = waitpid(-1, &status, __WALL); pid > 0; pid = waitpid(-1, &status, __WALL)) {
    if (WIFSTOPPED(status)) {
      handle_stop(pid, status, lists);
      continue;
    }
    processes.erase(pid);
    if (pid != first_pid) continue;
    first_status = status;
    if (held_pid != 0) let_go(held_pid);
    held_pid = 0;
  }
  return first_status;
}

static bool parse_arguments(int argc, char* argv[], int& command) {
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string option = argv[i];
    if (option == "--") {
      command = i + 1;
      return report != nullptr;
    }
    if (option == "--report") {
      report = std::fopen(argv[i + 1], "we");
    } else if (option == "--calls") {
      traces_loader = std::strcmp(argv[i + 1], "all") == 0;
    } else if (option == "--at") {
      if (std::sscanf(argv[i + 1], "%d:%d", &disturbance.process, &disturbance.call) != 2) return false;
    } else if (option == "--disturb") {
      const std::string how = argv[i + 1];
      const std::size_t colon = how.find(':');
      disturbance.how = how.substr(0, colon);
      if (colon != std::string::npos) disturbance.number = std::atoi(how.c_str() + colon + 1);
    } else {
      return false;
    }
  }
  return false;
}

int main(int argc, char* argv[]) {
  int command = 0;
  if (!parse_arguments(argc, argv, command)) {
    std::fprintf(stderr,
                 "usage: fault_tracer --report FILE --calls all|program "
                 "[--at PROCESS:CALL --disturb HOW[:NUMBER]] -- COMMAND...\n");
    return 125;
  }
  fix_addresses(argv);
  loader = find_loader();
  first_pid = start(argv + command);
  processes[first_pid].number = process_count++;
  const int status = follow(disturbance.process < 0);
  if (WIFSIGNALED(status)) {
    std::fprintf(report, "end\tsignal\t%d\n", WTERMSIG(status));
  } else {
    std::fprintf(report, "end\texit\t%d\n", WEXITSTATUS(status));
  }
  std::fclose(report);
  return 0;
}
