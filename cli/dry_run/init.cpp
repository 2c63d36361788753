#include "cli/dry_run/init.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <exception>
#include <map>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/dry_run/confinement.h"
#include "cli/dry_run/database.h"
#include "cli/dry_run/limits.h"
#include "cli/dry_run/root.h"
#include "cli/dry_run/sandbox_ports.h"
#include "cli/dry_run/stub.h"
#include "cli/dry_run/syslog_socket.h"
#include "libsysdb/sysdb_file.h"
#include "platform/libsysdb.h"

using Database = std::map<std::string, std::string>;

// Directories below which a run writes.
constexpr const char* kWrittenDirectories[] = {"/var/run", "/var/volatile", "/var/data"};

// The time stamps of all files before the run. A later one shows that a file was written.
constexpr timespec kLongAgo[2] = {};

static void lay(const File& file, const ResultPipe& pipe) {
  pipe.require(write_file(file), "write " + file.path);
  pipe.require(utimensat(AT_FDCWD, file.path.c_str(), kLongAgo, 0) == 0, "write " + file.path);
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
  // From here on, the database is at its usual path, even if the machine's is elsewhere.
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

namespace {

// An output stream of the program. It is a pipe, so that its bytes can be counted.
class Output {
 public:
  explicit Output(const ResultPipe& pipe) {
    int ends[2];
    pipe.require(pipe2(ends, O_CLOEXEC) == 0, "pipe");
    pipe.require(fcntl(ends[0], F_SETFL, O_NONBLOCK) == 0, "fcntl");
    reader_ = ends[0];
    writer_ = ends[1];
  }

  int writer() const {
    return writer_;
  }

  // The descriptor for poll(); -1, which poll() skips, after the end of the stream.
  int reader() const {
    return reader_;
  }

  // To be called when the program has started; otherwise the stream would not end.
  void close_writer() {
    close(writer_);
  }

  void receive(Meter& meter) {
    char block[65536];
    while (reader_ >= 0) {
      const ssize_t size = read(reader_, block, sizeof block);
      if (size < 0) return;
      if (size == 0) reader_ = -1;
      meter.add(static_cast<std::size_t>(size));
      text.append(block, static_cast<std::size_t>(size));
    }
  }

  std::string text;

 private:
  int reader_;
  int writer_;
};

// The program, its output and its log.
class Program {
 public:
  Program(const SandboxRun& run, Meter& meter, const ResultPipe& pipe)
      : meter_(meter), pipe_(pipe), syslog_socket_(open_syslog_socket()), output_(pipe), errors_(pipe) {
    pipe.require(syslog_socket_ >= 0, "open /dev/log");
    start_program(run);
    output_.close_writer();
    errors_.close_writer();
  }

  // Waits until the program has ended, and kills all processes that it has left running.
  void wait(DryRunResult& result) {
    const int ended = static_cast<int>(syscall(SYS_pidfd_open, process_, 0));
    pipe_.require(ended >= 0, "pidfd_open");
    while (true) {
      pollfd events[] = {{ended, POLLIN, 0},
                         {syslog_socket_, POLLIN, 0},
                         {output_.reader(), POLLIN, 0},
                         {errors_.reader(), POLLIN, 0}};
      pipe_.require(poll(events, 4, -1) >= 0, "poll");
      if (events[0].revents != 0) break;
      receive(result);
    }
    int status = 0;
    pipe_.require(waitpid(process_, &status, 0) == process_, "waitpid");
    kill(-1, SIGKILL);
    while (waitpid(-1, nullptr, 0) > 0) {
    }
    // The last output and messages may have arrived after the last call of receive().
    receive(result);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    result.standard_output = std::move(output_.text);
    result.standard_error = std::move(errors_.text);
  }

 private:
  void start_program(const SandboxRun& run) {
    const Descriptor input(open("/dev/null", O_RDONLY | O_CLOEXEC));
    Subprocess program{{"cmd_lanfab", run.action}, kMachineRoot + run.program};
    // A build with sanitizers would look for leaks with ptrace(2), which is denied in the sandbox.
    program.environment = {std::string("PATH=") + kSystemPath, "ASAN_OPTIONS=detect_leaks=0",
                           std::string("LANFAB_CONFIG_DIR=") + kSandboxConfigurationDirectory};
    program.input = input.number();
    program.output = output_.writer();
    program.errors = errors_.writer();
    process_ = start(program);
    pipe_.require(process_ >= 0, "run " + run.program);
  }

  void receive(DryRunResult& result) {
    while (receive_message(syslog_socket_, result.messages))
      meter_.add(sizeof(Message) + result.messages.back().text.size());
    output_.receive(meter_);
    errors_.receive(meter_);
  }

  Meter& meter_;
  const ResultPipe& pipe_;
  int syslog_socket_;
  Output output_;
  Output errors_;
  pid_t process_ = -1;
};

}  // namespace

static Change change_of(const File& file, const std::map<std::string, const File*>& before) {
  const auto found = before.find(file.path);
  if (found == before.end()) return Change::kWritten;
  const File& former = *found->second;
  if (file.content != former.content || file.mode != former.mode) return Change::kWritten;
  struct stat status {};
  const bool is_kept = stat(file.path.c_str(), &status) == 0 && status.st_mtime == 0;
  return is_kept ? Change::kUntouched : Change::kUnchanged;
}

static bool is_of_database(const File& file) {
  return file.path.rfind(kSystemDatabase, 0) == 0;
}

// Collects the files after the run, and the paths of removed ones.
static void collect_files(const std::vector<File>& laid, Meter& meter, DryRunResult& result) {
  std::map<std::string, const File*> before;
  for (const File& file : laid) {
    meter.allow(file.path.size() + file.content.size());
    if (!is_of_database(file)) before[file.path] = &file;
  }
  Tree tree;
  for (const char* directory : kWrittenDirectories)
    add_directory(directory, kAnyDepth, tree, &meter);
  for (File& file : tree.files) {
    if (is_of_database(file)) continue;
    const Change change = change_of(file, before);
    before.erase(file.path);
    result.files.push_back({std::move(file), change});
  }
  for (const auto& [path, file] : before)
    result.removed.push_back(path);
}

static void collect_database(const Database& before, Meter& meter, DryRunResult& result) {
  for (const auto& [key, value] : read_database(meter)) {
    const auto found = before.find(key);
    if (found == before.end() || found->second != value) result.database.emplace_back(key, value);
  }
}

static DryRunResult make_run(const SandboxRun& run, ResultPipe& pipe) {
  fill_root(pipe);
  pipe.note_set_up();
  lay_out(run, pipe);
  Meter unlimited;
  const Database database = read_database(unlimited);
  unblock_signals();
  confine(pipe);
  Meter meter;
  DryRunResult result;
  Program(run, meter, pipe).wait(result);
  result.commands = recorded_calls(meter);
  collect_files(run.initial_state.tree.files, meter, result);
  collect_database(database, meter, result);
  return result;
}

void run_init(const SandboxRun& run, ResultPipe& pipe) {
  try {
    pipe.finish(make_run(run, pipe));
  } catch (const std::exception& error) {
    pipe.refuse(error.what());
  }
}
