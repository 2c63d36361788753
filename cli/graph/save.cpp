#include "cli/graph/save.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>

static bool write_and_close(int descriptor, const std::string& text) {
  std::FILE* file = fdopen(descriptor, "w");
  const bool is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const bool is_synced = is_written && std::fflush(file) == 0 && fsync(descriptor) == 0;
  const int error = errno;
  const bool is_closed = std::fclose(file) == 0;
  if (!is_synced) errno = error;
  return is_synced && is_closed;
}

// Beside the file, and then in its place.
static bool replace(const std::string& text, const std::string& path, mode_t mode) {
  std::string temporary = path + ".XXXXXX";
  const int descriptor = mkstemp(temporary.data());
  if (descriptor < 0) return false;
  fchmod(descriptor, mode);
  if (write_and_close(descriptor, text) && std::rename(temporary.c_str(), path.c_str()) == 0) return true;
  const int error = errno;
  unlink(temporary.c_str());
  errno = error;
  return false;
}

static bool write_directly(const std::string& text, const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "we");
  if (file == nullptr) return false;
  const bool is_written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const int error = errno;
  const bool is_closed = std::fclose(file) == 0;
  if (!is_written) errno = error;
  return is_written && is_closed;
}

static bool save_at(const std::string& text, const std::string& path) {
  struct stat there {};
  if (stat(path.c_str(), &there) != 0) {
    const mode_t mask = umask(0);
    umask(mask);
    return errno == ENOENT && replace(text, path, 0666 & ~mask);
  }
  // A terminal or a pipe cannot be replaced.
  if (!S_ISREG(there.st_mode)) return write_directly(text, path);
  // Not the link, but the file that it leads to.
  char target[PATH_MAX];
  return realpath(path.c_str(), target) != nullptr && replace(text, target, there.st_mode & 07777);
}

bool save(const std::string& text, const std::string& path) {
  // The signals that end a program wait, so that none leaves half of a file.
  sigset_t all;
  sigset_t former;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, &former);
  const bool success = save_at(text, path);
  const int error = errno;
  sigprocmask(SIG_SETMASK, &former, nullptr);
  errno = error;
  return success;
}
