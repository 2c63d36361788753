#pragma once

// Failures of which the caller learns no more than that there is no value or no file.

#include <syslog.h>

#include <cerrno>
#include <cstring>

// Logs what was tried, such as "read", with what, and why it failed.
inline void report_failure(const char* action, const char* object, int error) {
  syslog(LOG_NOTICE, "cannot %s %s: %s", action, object, std::strerror(error));
}

// The same for a file. One that does not exist, or is a directory, is no failure of the machine.
inline void report_file_failure(const char* action, const char* path) {
  if (errno != ENOENT && errno != ENOTDIR && errno != EISDIR) report_failure(action, path, errno);
}
