#pragma once

// Tasks that several processes of this program work on at the same time.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

// What came of a task.
struct TaskResult {
  std::string bytes;  // what `work` returned
  std::string error;  // why it returned nothing: "Segmentation fault", "exit status 2"; empty if it did
};

struct TaskList {
  std::size_t tasks;      // how many there are; they are numbered from 0
  std::size_t processes;  // at most so many at the same time, at least 1
  // Runs in a child process, which sees this one's memory as it was at the fork; what it changes is lost.
  std::function<std::string(std::size_t task)> work;
  // Called in this process with the results, in the order of the tasks. If it returns false, the rest of the
  // tasks is not done.
  std::function<bool(std::size_t task, TaskResult result)> take;
};

// Does the tasks. Only a few results are waiting at any time, however many tasks there are. The children are
// killed when this process ends, for whatever reason. If a child dies, only its current task has no result.
// Returns nothing, or why no child can be started: "fork: Resource temporarily unavailable"; the rest of the
// tasks is then not done.
std::optional<std::string> do_tasks(const TaskList& list);
