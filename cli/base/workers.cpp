#include "cli/base/workers.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <exception>
#include <map>
#include <vector>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"

// Maximum number of tasks per process that are started before their results have been taken.
constexpr std::size_t kWaitingResults = 8;

namespace {

// Messages on a socket: a task is sent as its number, a result as its size and its bytes.
using TaskNumber = std::size_t;
using ResultSize = std::size_t;

struct Worker {
  pid_t process;
  Descriptor socket;
  std::optional<std::size_t> task = std::nullopt;  // current task
  std::string received = {};                       // part of its result
};

}  // namespace

static std::string bytes_of(const std::string& result) {
  const ResultSize size = result.size();
  std::string bytes(reinterpret_cast<const char*>(&size), sizeof size);
  return bytes += result;
}

// The result if it is complete; otherwise nothing.
static std::optional<std::string> result_in(const std::string& received) {
  ResultSize size = 0;
  if (received.size() < sizeof size) return std::nullopt;
  std::memcpy(&size, received.data(), sizeof size);
  if (received.size() - sizeof size < size) return std::nullopt;
  return received.substr(sizeof size);
}

// Main loop of a child: does one task after the other until its parent, `first`, has ended.
[[noreturn]] static void work_for(pid_t first, int socket, const TaskList& list) {
  prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0);
  // The parent may have ended before that call.
  if (getppid() != first) _exit(0);
  try {
    TaskNumber task = 0;
    while (recv(socket, &task, sizeof task, MSG_WAITALL) == sizeof task &&
           write_all(socket, bytes_of(list.work(task)))) {
    }
    _exit(0);
  } catch (const std::exception& error) {
    _exit(fail(std::string("lanfab: ") + error.what()));
  }
}

static std::string why_ended(pid_t process) {
  const int status = wait_for_child(process);
  if (WIFSIGNALED(status)) return strsignal(WTERMSIG(status));
  return "exit status " + std::to_string(WEXITSTATUS(status));
}

namespace {

class Workers {
 public:
  explicit Workers(const TaskList& list) : list_(list) {}
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Results of processes that are still running are not needed any more.
  ~Workers() {
    for (const Worker& worker : workers_) {
      kill(worker.process, SIGKILL);
      wait_for_child(worker.process);
    }
  }

  std::optional<std::string> run() {
    while (taken_ < list_.tasks) {
      hand_out();
      if (workers_.empty()) return with_errno("fork");
      receive();
      if (!take()) break;
    }
    return std::nullopt;
  }

 private:
  bool is_task_left() const {
    return next_ < list_.tasks && next_ < taken_ + kWaitingResults * list_.processes;
  }

  // Gives a task to each idle process, and starts processes that are missing.
  void hand_out() {
    while (is_task_left()) {
      Worker* worker = idle_worker();
      if (worker == nullptr) return;
      const TaskNumber task = next_;
      if (send(worker->socket.number(), &task, sizeof task, MSG_NOSIGNAL) == sizeof task) {
        worker->task = next_++;
      } else {
        remove(*worker);
      }
    }
  }

  // An idle process, started if necessary. Null if all are busy, or if another one cannot be started, with
  // errno set. With fewer processes the tasks only take longer.
  Worker* idle_worker() {
    for (Worker& worker : workers_)
      if (!worker.task) return &worker;
    return workers_.size() < list_.processes && start_worker() ? &workers_.back() : nullptr;
  }

  // Starts a process. False, with errno set, on failure.
  bool start_worker() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return false;
    Descriptor own(ends[0]);
    const Descriptor other(ends[1]);
    const pid_t first = getpid();
    const pid_t process = fork();
    if (process == 0) {
      // While this child has copies of the parent's sockets, the other children cannot detect the end of
      // the parent.
      own = Descriptor();
      for (Worker& worker : workers_)
        worker.socket = Descriptor();
      work_for(first, other.number(), list_);
    }
    if (process < 0) return false;
    workers_.push_back({process, std::move(own)});
    return true;
  }

  // Removes a process that has ended. Returns why it ended.
  std::string remove(const Worker& worker) {
    std::string reason = why_ended(worker.process);
    workers_.erase(workers_.begin() + (&worker - workers_.data()));
    return reason;
  }

  // Waits for data from the processes, and receives it.
  void receive() {
    std::vector<pollfd> events;
    for (const Worker& worker : workers_)
      events.push_back({worker.socket.number(), POLLIN, 0});
    poll(events.data(), events.size(), -1);
    // In reverse order, since a process that has ended is removed.
    for (std::size_t i = events.size(); i-- > 0;)
      if (events[i].revents != 0) receive_from(workers_[i]);
  }

  void receive_from(Worker& worker) {
    char block[65536];
    const ssize_t size = read(worker.socket.number(), block, sizeof block);
    if (size <= 0) {
      const std::optional<std::size_t> task = worker.task;
      const std::string error = remove(worker);
      if (task) results_[*task] = {"", error};
      return;
    }
    worker.received.append(block, static_cast<std::size_t>(size));
    if (auto result = result_in(worker.received)) {
      results_[*worker.task] = {std::move(*result), ""};
      worker.task.reset();
      worker.received = {};
    }
  }

  // Passes on the results that are next in the order of the tasks. Returns false if no more are wanted.
  bool take() {
    while (!results_.empty() && results_.begin()->first == taken_) {
      TaskResult result = std::move(results_.begin()->second);
      results_.erase(results_.begin());
      if (!list_.take(taken_++, std::move(result))) return false;
    }
    return true;
  }

  const TaskList& list_;
  std::vector<Worker> workers_;
  std::map<std::size_t, TaskResult> results_;  // received, but not taken yet
  std::size_t next_ = 0;                       // the first task that has not been handed out
  std::size_t taken_ = 0;                      // number of results that have been taken
};

}  // namespace

std::optional<std::string> do_tasks(const TaskList& list) {
  return Workers(list).run();
}
