#pragma once

// Tasks that several processes of this program work on at the same time.

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

// What came of a task.
struct TaskResult {
  std::string bytes;    // what `work` returned
  std::string trouble;  // why it returned nothing: "Segmentation fault", "status 2"; empty if it did
};

struct TaskList {
  std::size_t tasks;      // how many there are; they are numbered from 0
  std::size_t processes;  // at most so many at the same time, at least 1
  // Does a task, in another process: what it changes is lost, and what it needs must be there beforehand.
  std::function<std::string(std::size_t task)> work;
  // Gets the results in this process, task by task in their order. After false no more tasks are done.
  std::function<bool(std::size_t task, TaskResult result)> take;
};

// Does the tasks. Only a few results wait to be taken, however many tasks there are. The processes end with
// this one, whatever ends that; when one of them ends before, only its task has no result. Returns nothing,
// or why there is no process at all: "fork: Resource temporarily unavailable". The rest of the tasks is then
// not done.
std::optional<std::string> do_tasks(const TaskList& list);
