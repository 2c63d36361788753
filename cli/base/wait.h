#pragma once

#include <sys/wait.h>

#include <cerrno>

// Waits for a child to end. Returns its wait status; -1, with errno set, when that is not to be had.
inline int wait_for_child(pid_t process) {
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return status;
}
