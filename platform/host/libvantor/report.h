#pragma once

// Logs failures whose cause the caller does not learn.

#include <syslog.h>

#include <cerrno>
#include <cstring>

// Logs the failed operation, such as "read", its object, and the error.
inline void report_failure(const char* action, const char* object, int error) {
  syslog(LOG_NOTICE, "cannot %s %s: %s", action, object, std::strerror(error));
}

// Logs a failed operation on a file. A file that does not exist, or that is a directory, is not logged.
inline void report_file_failure(const char* action, const char* path) {
  if (errno != ENOENT && errno != ENOTDIR && errno != EISDIR) report_failure(action, path, errno);
}
