#include "cli/dry_run/init.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <initializer_list>
#include <map>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/dry_run/database.h"
#include "cli/dry_run/root.h"
#include "cli/dry_run/sandbox_ports.h"
#include "cli/dry_run/stub.h"
#include "cli/dry_run/syslog_socket.h"
#include "libsysdb/sysdb_file.h"
#include "platform/libsysdb.h"

using Database = std::map<std::string, std::string>;

// The directories below which a run writes.
constexpr const char* kWrittenDirectories[] = {"/var/run", "/var/volatile", "/var/data"};

// The time of all files before the run; a later one tells that a file was written.
constexpr timespec kLongAgo[2] = {};

static void lay(const File& file, const ResultPipe& pipe) {
  pipe.require(write_file(file) && utimensat(AT_FDCWD, file.path.c_str(), kLongAgo, 0) == 0,
               "write " + file.path);
}

static void lay_out(const SandboxRun& run, const ResultPipe& pipe) {
  for (const SandboxPort& port : run.initial_state.ports)
    pipe.require(make_port(port), "make an interface " + port.name);
  for (const Directory& directory : run.initial_state.tree.directories)
    pipe.require(make_directories(directory.path, directory.mode), "mkdir " + directory.path);
  for (const File& file : run.initial_state.tree.files)
    lay(file, pipe);
  lay({kSandboxConfigurationFile, 0644, run.configuration}, pipe);
  pipe.require(prepare_stubs(run.initial_state.active_services), "write /.sandbox");
  // From here on the usual file of the database is meant, whichever the machine has.
  unsetenv("LANFAB_SYSDB");
  if (run.initial_state.is_cell_connected)
    sysdb_write_str(0, "CELL_CONNECTED", run.initial_state.is_cell_connected->c_str(), 0);
}

// The run must not depend on the signals that this program or its caller has blocked.
static void unblock_signals() {
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Whatever starts from now on has root's rights over files and the network alone, and leaves no core.
static void limit_rights(const ResultPipe& pipe) {
  for (int capability = 0; capability <= CAP_LAST_CAP; ++capability) {
    const bool is_needed = capability == CAP_NET_ADMIN || capability == CAP_DAC_OVERRIDE ||
                           capability == CAP_FOWNER || capability == CAP_CHOWN;
    if (!is_needed) prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
  }
  pipe.require(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0, "prctl");
  rlimit core{};
  getrlimit(RLIMIT_CORE, &core);
  // One byte: with none at all, a machine that hands cores to a program still would.
  core.rlim_cur = std::min<rlim_t>(1, core.rlim_max);
  pipe.require(setrlimit(RLIMIT_CORE, &core) == 0, "setrlimit");
}

// Starts the program with its output into the two files. Returns its process.
static pid_t start_program(const SandboxRun& run, const MemoryFile& output, const MemoryFile& errors,
                           const ResultPipe& pipe) {
  const Descriptor input(open("/dev/null", O_RDONLY | O_CLOEXEC));
  Subprocess program{{"cmd_lanfab", run.action}, kMachineRoot + run.program};
  program.environment = {std::string("PATH=") + kSystemPath,
                         std::string("LANFAB_CONFIG_DIR=") + kSandboxConfigurationDirectory};
  program.input = input.number();
  program.output = output.number();
  program.errors = errors.number();
  const pid_t process = start(program);
  pipe.require(process >= 0, "run " + run.program);
  return process;
}

// Collects the log until the process ends. Returns its exit status, a signal's number below zero.
static int wait_for(pid_t process, int syslog_socket, std::vector<Message>& messages,
                    const ResultPipe& pipe) {
  const int ended = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
  pipe.require(ended >= 0, "pidfd_open");
  pollfd events[] = {{syslog_socket, POLLIN, 0}, {ended, POLLIN, 0}};
  while (events[1].revents == 0) {
    pipe.require(poll(events, 2, -1) >= 0, "poll");
    receive_messages(syslog_socket, messages);
  }
  int status = 0;
  pipe.require(waitpid(process, &status, 0) == process, "waitpid");
  // What it logged last may have come between.
  receive_messages(syslog_socket, messages);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

static Change change_of(const File& file, const std::map<std::string, const File*>& before) {
  const auto found = before.find(file.path);
  if (found == before.end()) return Change::kWritten;
  const File& former = *found->second;
  if (file.content != former.content || file.mode != former.mode) return Change::kWritten;
  struct stat status {};
  const bool is_kept = stat(file.path.c_str(), &status) == 0 && status.st_mtime == 0;
  return is_kept ? Change::kKept : Change::kRewritten;
}

static bool is_of_database(const File& file) {
  return file.path.rfind(kSystemDatabase, 0) == 0;
}

// What is there now, and what has gone.
static void collect_files(const std::vector<File>& laid, DryRunResult& result) {
  std::map<std::string, const File*> before;
  for (const File& file : laid)
    if (!is_of_database(file)) before[file.path] = &file;
  Tree tree;
  for (const char* directory : kWrittenDirectories)
    add_directory(directory, kAnyDepth, tree);
  for (File& file : tree.files) {
    if (is_of_database(file)) continue;
    const Change change = change_of(file, before);
    before.erase(file.path);
    result.files.push_back({std::move(file), change});
  }
  for (const auto& [path, file] : before)
    result.removed.push_back(path);
}

static void collect_database(const Database& before, DryRunResult& result) {
  for (const auto& [key, value] : read_database()) {
    const auto found = before.find(key);
    if (found == before.end() || found->second != value) result.database.emplace_back(key, value);
  }
}

void run_init(const SandboxRun& run, const std::string& stub, ResultPipe& pipe) {
  umask(022);
  enter_root(stub, pipe);
  pipe.note_set_up();
  lay_out(run, pipe);
  const Database database = read_database();
  unblock_signals();
  limit_rights(pipe);
  const int syslog_socket = open_syslog_socket();
  pipe.require(syslog_socket >= 0, "open /dev/log");
  const MemoryFile output;
  const MemoryFile errors;
  DryRunResult result;
  const pid_t process = start_program(run, output, errors, pipe);
  result.status = wait_for(process, syslog_socket, result.messages, pipe);
  result.commands = recorded_calls();
  result.standard_output = output.content();
  result.standard_error = errors.content();
  collect_files(run.initial_state.tree.files, result);
  collect_database(database, result);
  pipe.finish(result);
}
