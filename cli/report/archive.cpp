#include "cli/report/archive.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "cli/base/output.h"
#include "cli/base/signals.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"

constexpr int kSeconds = 60;

namespace {

// A temporary directory for this user only, removed with its content at the end of the scope.
class TemporaryDirectory {
 public:
  TemporaryDirectory() {
    if (mkdtemp(path_.data()) == nullptr) path_.clear();
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
  ~TemporaryDirectory() {
    std::error_code error;
    if (!path_.empty()) std::filesystem::remove_all(path_, error);
  }

  // Empty, with errno set, if it could not be created.
  const std::string& path() const {
    return path_;
  }

 private:
  // Not in TMPDIR, which others may have set: in /tmp, other users cannot replace the directory.
  std::string path_ = "/tmp/lanfab.XXXXXX";
};

}  // namespace

std::optional<std::string> pack(const std::vector<File>& files, const std::string& name,
                                std::string& archive) {
  // Otherwise a signal could end this process before it removes the directory.
  const BlockedSignals signals{SIGINT, SIGQUIT, SIGTSTP, SIGHUP, SIGTERM};
  const TemporaryDirectory directory;
  if (directory.path().empty()) return with_errno("/tmp");
  OutputDirectory output(directory.path() + "/" + name);
  if (auto error = output.open()) return error;
  if (auto error = output.write(files)) return error;
  const MemoryFile bytes;
  Subprocess tar{{"tar", "-czf", "-", "-C", directory.path(), name}};
  tar.output = bytes.number();
  tar.seconds = kSeconds;
  const int status = run(tar);
  if (auto error = missing_status("tar", status)) return error;
  archive = bytes.content();
  if (WEXITSTATUS(status) == 0) return std::nullopt;
  return "tar: status " + std::to_string(WEXITSTATUS(status));
}
