#include "cli/live/guard.h"

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string_view>
#include <tuple>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/live/programs.h"
#include "cli/live/reserve.h"
#include "cli/live/system.h"
#include "cli/live/units.h"

constexpr int kCheckMilliseconds = 1000;
// Only every fifth check queries systemd, since each query starts a process.
constexpr int kChecksPerQuery = 5;
// How long the timer and its service may be late, in seconds.
constexpr std::int64_t kGrace = 10;
constexpr int kLockLimit = 5;
// Pauses between rollback attempts of the guard, in seconds.
constexpr std::int64_t kFirstPause = 5;
constexpr std::int64_t kLongestPause = 60;

// Size limit for a file that this process keeps in memory. A lanfab built with sanitizers takes 77 MB.
constexpr off_t kLargestFile = 128 * 1024 * 1024;

// Permission bits that a restored file gets back if its owner and group cannot be restored: only its owner's.
constexpr mode_t kOfOwner = 0700;

// Suffix of a restored file before it is renamed.
constexpr char kRestored[] = ".restored";
// Ends of the paths that are not restored: temporary files, the configuration noted by lanfab.service, the
// reserved space and the marks of the end.
constexpr std::string_view kPassing[] = {kRestored, ".new", "/applying", "/reserve", "/end", "/end.failed"};

static bool is_guard = false;

static bool is_passing(const std::string& path) {
  return std::any_of(std::begin(kPassing), std::end(kPassing),
                     [&path](std::string_view end) { return path.rfind(end) == path.size() - end.size(); });
}

static bool is_time_over(const TrialState& state) {
  return monotonic_seconds() > state.ends + kGrace;
}

// Changes whenever the file is replaced or written.
static auto version_of(const struct stat& status) {
  return std::make_tuple(status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec);
}

namespace {

// A file of the trial as it was last seen.
struct Remembered {
  File file;
  struct stat status {};
};

class Guard {
 public:
  explicit Guard(const std::function<int()>& roll_back) : roll_back_(roll_back) {}

  // Checks the trial once. Returns whether it must be checked again.
  bool check() {
    const auto state = read_state();
    if (state) state_ = state;
    if (is_end_marked()) {
      if (!state && !has_failed()) return false;
    } else {
      look_after_files();
      if (state_ && looks_++ % kChecksPerQuery == 0) look_after_timer();
    }
    // Without its state, the trial cannot be confirmed, so it is rolled back.
    if (!state_) return (is_trial_active() || has_failed()) && !roll_back_late();
    return !is_time_over(*state_) || !roll_back_late();
  }

 private:
  void look_after_files() {
    const auto is_entry_lost = [](const auto& entry) { return is_lost(entry.first); };
    const bool is_known = !files_.empty();
    if (is_known && (!has_reserve() || std::any_of(files_.begin(), files_.end(), is_entry_lost))) restore();
    remember(kTrialDirectory);
  }

  static bool is_lost(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) != 0 || status.st_size == 0;
  }

  void remember(const std::string& directory) {
    for (const std::string& name : list_directory(directory).value_or(std::vector<std::string>())) {
      const std::string path = directory + "/" + name;
      if (is_passing(path)) continue;
      // If the file was removed meanwhile, `status` stays zero: no type and no size.
      struct stat status {};
      lstat(path.c_str(), &status);
      if (S_ISDIR(status.st_mode)) remember(path);
      const bool is_kept = status.st_size > 0 && status.st_size <= kLargestFile;
      if (S_ISREG(status.st_mode) && is_kept) remember_file(path, status);
    }
  }

  void remember_file(const std::string& path, const struct stat& status) {
    const auto known = files_.find(path);
    if (known != files_.end() && version_of(known->second.status) == version_of(status)) return;
    Remembered remembered = {{}, status};
    if (read_file(path, remembered.file)) files_[path] = remembered;
  }

  // Restores lost files. A rollback may proceed without the lock; if it marks the end while this function
  // runs, the configuration that was just restored is deactivated again.
  void restore() {
    // Creates the trial directory if it was removed.
    enter_system_as_service();
    const ExclusiveLock lock(kTrialDirectory, kLockLimit);
    if (is_end_marked()) return;
    for (const auto& [path, remembered] : files_) {
      if (!is_lost(path)) continue;
      const bool is_restored = restore_file(path, remembered);
      std::fprintf(stderr, "<4>%s was removed during the trial; %s\n", printable(path).c_str(),
                   is_restored ? "restored" : with_errno("it cannot be restored").c_str());
    }
    reserve_space();
    if (is_end_marked()) deactivate_trial();
  }

  static bool restore_file(const std::string& path, const Remembered& remembered) {
    const std::string directory = path.substr(0, path.rfind('/'));
    const std::string restored = path + kRestored;
    if (directory != kTrialDirectory && !make_directories(directory, kOfOwner)) return false;
    if (!write_file({restored, kOfOwner, remembered.file.content})) return false;
    const struct stat& status = remembered.status;
    const bool is_given = chown(restored.c_str(), status.st_uid, status.st_gid) == 0;
    const mode_t mode = status.st_mode & (is_given ? kModeBits : kOfOwner);
    // If this fails, the file is accessible to its owner and root alone, which is enough for a rollback.
    chmod(restored.c_str(), mode);
    return std::rename(restored.c_str(), path.c_str()) == 0;
  }

  void look_after_timer() const {
    bool has_timer = true;
    const std::int64_t left = state_->ends - monotonic_seconds();
    if (query_unit(kRevertTimer, has_timer) || has_timer || left <= 0) return;
    // If the trial has ended meanwhile, the timer was stopped intentionally.
    if (is_end_marked()) return;
    std::fprintf(stderr, "<4>%s was stopped during the trial; %s\n", kRevertTimer,
                 start_revert_timer(left) ? "started again" : "it cannot be started again");
  }

  // Rolls back, unless the rollback service is running or the next attempt is not due yet. Returns whether
  // the trial has ended.
  bool roll_back_late() {
    bool is_rolling_back = false;
    const bool is_known = !query_unit(kRevertUnit, is_rolling_back);
    if ((is_known && is_rolling_back) || monotonic_seconds() < next_attempt_) return false;
    std::fprintf(stderr, "<1>the trial is overdue; rolling back\n");
    if (roll_back_() == 0) return true;
    next_attempt_ = monotonic_seconds() + pause_;
    pause_ = std::min(2 * pause_, kLongestPause);
    return false;
  }

  const std::function<int()>& roll_back_;
  std::map<std::string, Remembered> files_;
  std::optional<TrialState> state_;
  int looks_ = 0;
  std::int64_t next_attempt_ = 0;
  std::int64_t pause_ = kFirstPause;
};

}  // namespace

void guard_trial(const std::function<int()>& roll_back) {
  is_guard = true;
  Guard guard(roll_back);
  while (guard.check())
    poll(nullptr, 0, kCheckMilliseconds);
  end_guard();
}

bool end_guard() {
  // The guard does not stop its own service: its process exits when the trial has ended.
  if (!is_guard && !stop_guard()) return false;
  remove_programs();
  remove_marks();
  return true;
}

std::optional<std::string> read_safeguards(const TrialState& state, Safeguards& safeguards) {
  safeguards = {};
  safeguards.has_failed = has_failed();
  std::optional<std::string> error;
  for (const auto& [unit, is_running] : {std::pair(kRevertTimer, &safeguards.has_timer),
                                         {kGuardUnit, &safeguards.has_guard},
                                         {kRevertUnit, &safeguards.is_rolling_back}}) {
    if (!error) error = query_unit(unit, *is_running);
  }
  safeguards.is_overdue = is_time_over(state) && (error || !safeguards.is_rolling_back);
  return error;
}
