#include "cli/base/workers.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/base/file.h"
#include "failing_call.h"

static FailingCall failing_fork;
static FailingCall failing_socketpair;

extern "C" pid_t fork() noexcept {
  return failing_fork.fails() ? -1 : next<pid_t (*)()>("fork")();
}

extern "C" int socketpair(int domain, int type, int protocol, int ends[2]) noexcept {
  return failing_socketpair.fails()
             ? -1
             : next<int (*)(int, int, int, int*)>("socketpair")(domain, type, protocol, ends);
}

// A number in memory that all processes share.
class SharedNumber {
 public:
  SharedNumber()
      : memory_(mmap(nullptr, sizeof(std::atomic<std::size_t>), PROT_READ | PROT_WRITE,
                     MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
        value(*new (memory_) std::atomic<std::size_t>(0)) {}
  ~SharedNumber() {
    munmap(memory_, sizeof(std::atomic<std::size_t>));
  }
  SharedNumber(const SharedNumber&) = delete;
  SharedNumber& operator=(const SharedNumber&) = delete;

 private:
  void* memory_;

 public:
  std::atomic<std::size_t>& value;
};

using Work = std::function<std::string(std::size_t)>;

// Does the tasks; returns their results in order, each as "bytes" or "(error)".
static std::vector<std::string> results_of(std::size_t tasks, std::size_t processes, const Work& work) {
  std::vector<std::string> results;
  const auto error =
      do_tasks({tasks, processes, work, [&](std::size_t task, TaskResult result) {
                  EXPECT_EQ(task, results.size());
                  results.push_back(result.error.empty() ? result.bytes : "(" + result.error + ")");
                  return true;
                }});
  EXPECT_EQ(error, std::nullopt);
  return results;
}

static bool has_children() {
  return waitpid(-1, nullptr, WNOHANG) >= 0;
}

TEST(WorkersTest, ResultsComeInTheOrderOfTheTasks) {
  for (const std::size_t processes : {1U, 2U, 7U}) {
    // The first task takes longest.
    SharedNumber done;
    const auto results = results_of(5, processes, [&](std::size_t task) {
      while (task == 0 && processes > 1 && done.value < 4)
        usleep(100);
      ++done.value;
      return "result " + std::to_string(task);
    });
    EXPECT_EQ(results,
              (std::vector<std::string>{"result 0", "result 1", "result 2", "result 3", "result 4"}));
    EXPECT_FALSE(has_children());
  }
  EXPECT_EQ(results_of(0, 2, nullptr), std::vector<std::string>{});
}

TEST(WorkersTest, ResultsMayBeEmptyOrLarge) {
  const std::string large(5'000'000, 'x');
  EXPECT_EQ(results_of(3, 2, [&](std::size_t task) { return task == 1 ? large : ""; }),
            (std::vector<std::string>{"", large, ""}));
}

TEST(WorkersTest, TasksAreDoneInOtherProcesses) {
  const auto own = std::to_string(getpid());
  const auto results = results_of(20, 2, [](std::size_t) { return std::to_string(getpid()); });
  EXPECT_EQ(std::count(results.begin(), results.end(), own), 0);
}

// A process without a task would be idle from the beginning.
TEST(WorkersTest, ThereAreNoMoreProcessesThanTasks) {
  failing_fork.fail(1, EAGAIN, 1);
  EXPECT_EQ(results_of(1, 9, [](std::size_t) { return "done"; }), std::vector<std::string>{"done"});
  failing_fork.fail(0, 0);
}

// The first task ends only when the other process has done as many tasks as it may.
TEST(WorkersTest, ResultsThatWaitAreFew) {
  constexpr std::size_t kTasks = 1000;
  constexpr std::size_t kMost = 8 * 2;
  SharedNumber done;
  const auto results = results_of(kTasks, 2, [&](std::size_t task) {
    while (task == 0 && done.value < kMost - 1)
      usleep(100);
    if (task == 0) {
      // Time for the other process to do too many.
      usleep(100'000);
      return std::to_string(done.value);
    }
    ++done.value;
    return std::string();
  });
  EXPECT_EQ(results[0], std::to_string(kMost - 1));
}

TEST(WorkersTest, OnlyTheTaskOfAProcessThatEndsHasNoResult) {
  for (const std::size_t processes : {1U, 2U}) {
    EXPECT_EQ(results_of(5, processes,
                         [](std::size_t task) -> std::string {
                           if (task == 1) raise(SIGKILL);
                           if (task == 3) _exit(3);
                           return "done";
                         }),
              (std::vector<std::string>{"done", "(Killed)", "done", "(exit status 3)", "done"}));
  }
}

TEST(WorkersTest, AnExceptionEndsTheProcess) {
  testing::internal::CaptureStderr();
  const auto results = results_of(2, 1, [](std::size_t task) -> std::string {
    if (task == 0) throw std::runtime_error("too much");
    return "done";
  });
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "lanfab: too much\n");
  EXPECT_EQ(results, (std::vector<std::string>{"(exit status 2)", "done"}));
}

// A process that ends while it waits for a task is replaced.
TEST(WorkersTest, AProcessMayEndBetweenTasks) {
  std::vector<std::string> results;
  const TaskList list{3, 1, [](std::size_t) { return std::to_string(getpid()); },
                      [&](std::size_t, TaskResult result) {
                        const pid_t process = std::stoi(result.bytes);
                        kill(process, SIGKILL);
                        siginfo_t info;
                        waitid(P_PID, static_cast<id_t>(process), &info, WEXITED | WNOWAIT);
                        results.push_back(result.bytes);
                        return true;
                      }};
  EXPECT_EQ(do_tasks(list), std::nullopt);
  ASSERT_EQ(results.size(), 3U);
  EXPECT_FALSE(has_children());
}

TEST(WorkersTest, NoMoreTasksAreDoneWhenNoMoreAreWanted) {
  std::size_t taken = 0;
  const TaskList list{1000, 2, [](std::size_t) { return ""; },
                      [&](std::size_t, TaskResult) { return ++taken < 3; }};
  EXPECT_EQ(do_tasks(list), std::nullopt);
  EXPECT_EQ(taken, 3U);
  EXPECT_FALSE(has_children());
}

TEST(WorkersTest, FewerProcessesThanWantedTakeLonger) {
  failing_fork.fail(1000, EAGAIN, 1);
  const auto results = results_of(20, 4, [](std::size_t) { return std::to_string(getpid()); });
  failing_fork.fail(0, 0);
  EXPECT_EQ(std::count(results.begin(), results.end(), results[0]), 20);
}

TEST(WorkersTest, NoProcessAtAllIsAnError) {
  const TaskList list{2, 2, [](std::size_t) { return ""; },
                      [](std::size_t, TaskResult) {
                        ADD_FAILURE() << "there is no result";
                        return true;
                      }};
  failing_fork.fail(1, EAGAIN);
  EXPECT_EQ(do_tasks(list), "fork: Resource temporarily unavailable");
  failing_socketpair.fail(1, EMFILE);
  EXPECT_EQ(do_tasks(list), "fork: Too many open files");
}

// No process has the socket of another one open: otherwise the end of a process, or of the first one, would
// not be noticed.
TEST(WorkersTest, ProcessesEndWithTheFirst) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Descriptor reader(ends[0]);
  Descriptor writer(ends[1]);
  const pid_t process = fork();
  if (process == 0) {
    do_tasks({3, 3,
              [](std::size_t task) {
                if (task == 2) kill(getppid(), SIGKILL);
                pause();
                return "";
              },
              nullptr});
  }
  writer.close();
  char byte = 0;
  // Every process has the other end of the pipe open until it ends.
  EXPECT_EQ(read(reader.number(), &byte, 1), 0);
  int status = 0;
  waitpid(process, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status));
}
