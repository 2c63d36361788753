#pragma once

// Runs tasks in several processes of this program at the same time.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

// Result of a task.
struct TaskResult {
  std::string bytes;  // what `work` returned
  std::string error;  // why the process died: "Segmentation fault", "exit status 2"; otherwise empty
};

struct TaskList {
  std::size_t tasks;      // number of tasks, which are numbered from 0
  std::size_t processes;  // maximum number of child processes, at least 1
  // Runs in a child process, with a copy of this process's memory: its changes to variables are lost.
  std::function<std::string(std::size_t task)> work;
  // Called in this process with the results, in the order of the tasks. If it returns false, the remaining
  // tasks are skipped.
  std::function<bool(std::size_t task, TaskResult result)> take;
};

// Runs the tasks. Only a few results are waiting at any time, regardless of the number of tasks. The
// children are killed when this process ends for any reason. If a child dies, only its current task fails.
// Returns nothing on success; otherwise an error message if no child can be started, such as "fork:
// Resource temporarily unavailable", and the remaining tasks are skipped.
std::optional<std::string> do_tasks(const TaskList& list);
