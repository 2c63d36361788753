#include "cli/report/query.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"

constexpr char kTooLarge[] = ": only its beginning, for its size";

namespace {

// Limits the size of files that children write to kLargestText, until the end of the scope. A child that
// exceeds the limit gets an error instead of a signal, which would cause a core dump.
class FileSizeLimit {
 public:
  FileSizeLimit() {
    former_action_ = std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &former_);
    rlimit limit = former_;
    limit.rlim_cur = std::min<rlim_t>(kLargestText, former_.rlim_cur);
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &former_);
    std::signal(SIGXFSZ, former_action_);
  }

 private:
  rlimit former_{};
  void (*former_action_)(int) = nullptr;
};

}  // namespace

std::optional<std::string> run_query(const Query& query, std::string& text) {
  const std::string& name = query.command.front();
  const MemoryFile answer;
  const MemoryFile errors;
  int status = -1;
  {
    const FileSizeLimit limit;
    Subprocess subprocess{query.command, name[0] == '/' ? name : ""};
    subprocess.output = answer.number();
    subprocess.errors = errors.number();
    subprocess.seconds = query.seconds;
    status = run(subprocess);
  }
  auto failure = missing_status(name, status);
  const std::string output = answer.content();
  text += output;
  if (failure) return failure;
  if (output.size() >= kLargestText) return printable(name) + kTooLarge;
  const std::string message = errors.content();
  if (WEXITSTATUS(status) == 0 || message.empty()) return std::nullopt;
  return printable(name) + ": " + printable(message.substr(0, message.find('\n')));
}

static bool read_some(int file, std::string& text) {
  char block[65536];
  while (text.size() <= kLargestText) {
    const ssize_t size = read(file, block, sizeof block);
    if (size <= 0) return size == 0;
    text.append(block, static_cast<std::size_t>(size));
  }
  return true;
}

std::optional<std::string> read_beginning(const std::string& path, std::string& text) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file.is_open() || fstat(file.number(), &status) != 0) return with_errno(path);
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  if (!S_ISREG(status.st_mode) || !read_some(file.number(), text)) return with_errno(path);
  if (text.size() <= kLargestText) return std::nullopt;
  // Omit the last, incomplete line: it may be a part of a secret.
  text.resize(std::min(text.rfind('\n', kLargestText - 1) + 1, kLargestText));
  return printable(path) + kTooLarge;
}
