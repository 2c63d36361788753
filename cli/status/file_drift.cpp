#include "cli/status/file_drift.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

#include "cli/base/file.h"
#include "cli/base/terminal.h"
#include "cli/config_file/source.h"
#include "cli/live/installed_file.h"
#include "cli/live/trial_state.h"
#include "cli/status/deviating_files.h"

// After the cellular link manager has written its values, it runs cmd_lanfab within this time.
constexpr std::time_t kLinkSeconds = 10;
// A run still writes files after its last message, within this time.
constexpr std::time_t kAfterRunSeconds = 2;
constexpr char kAffectsNextStart[] = "the next start of a service changes the network, or fails";

std::string time_span(std::int64_t seconds) {
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 60 * kMinute;
  constexpr std::int64_t kDay = 24 * kHour;
  if (seconds < 2 * kMinute) return std::to_string(seconds) + " s";
  if (seconds < 2 * kHour) return std::to_string(seconds / kMinute) + " minutes";
  if (seconds < 2 * kDay) return std::to_string(seconds / kHour) + " hours";
  return std::to_string(seconds / kDay) + " days";
}

// Modification time of a file; 0 if it does not exist.
static std::time_t modification_time(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mtime : 0;
}

// When the values of the cellular link last changed; 0 if there are none.
static std::time_t time_of_link() {
  std::time_t latest = 0;
  for (const char* name : {"intf", "ipv4", "cidr", "gw", "mtu", "dns1", "dns2"})
    latest = std::max(latest, modification_time(std::string("/var/run/wwan_") + name));
  return latest;
}

static bool is_link_complete(const Cellular& link) {
  return !link.interface.empty() && !link.address.empty() && !link.prefix.empty() && !link.gateway.empty();
}

namespace {

class FileCheck {
 public:
  FileCheck(const Snapshot& snapshot, std::vector<std::string>& not_checked)
      : snapshot_(snapshot), not_checked_(not_checked), path_(active_configuration()) {}

  std::vector<Drift> find() {
    Source source;
    if (const auto failure = load_source(path_, source)) {
      report_failure(*failure);
      return std::move(drift_);
    }
    const DeviatingFiles found = find_deviating_files(source, is_link_complete(snapshot_.cellular));
    if (found.error) report_error(*found.error);
    if (!found.files.empty()) report_age(found.files);
    for (const DeviatingFile& file : found.files)
      report_file(file);
    return std::move(drift_);
  }

 private:
  void report_failure(const LoadFailure& failure) {
    const int error = errno;
    if (failure.syntax) {
      drift_.push_back({path_, "it is not valid: " + failure.message, false, "the next run fails",
                        "lanfab check --fix " + path_});
    } else if (error == ENOENT) {
      const bool has_previous = modification_time(path_ + kPreviousSuffix) != 0;
      drift_.push_back({path_, "it is missing", false, "the next run fails",
                        has_previous ? "cp -p " + path_ + kPreviousSuffix + " " + path_ : ""});
    } else {
      not_checked_.push_back("the files: " + failure.message);
    }
  }

  void report_error(const DeviatingFiles::Error& error) {
    if (error.is_of_configuration) {
      drift_.push_back({path_, error.what, false, "the next run may fail, too", "lanfab preview -v"});
    } else {
      not_checked_.push_back("the files: " + error.what);
    }
  }

  // When the last APPLY began; 0 if that is unknown.
  std::time_t last_apply() const {
    for (const LastRun& run : snapshot_.runs)
      if (run.action == "APPLY") return static_cast<std::time_t>(run.began / kMicroseconds);
    return 0;
  }

  // When the last run of any action ended; 0 if that is unknown.
  std::time_t last_end() const {
    std::int64_t end = 0;
    for (const LastRun& run : snapshot_.runs)
      end = std::max(end, run.began + run.lasted);
    return static_cast<std::time_t>(end / kMicroseconds);
  }

  void report_age(const std::vector<DeviatingFile>& files) {
    const std::time_t applied = last_apply();
    const std::time_t changed = modification_time(path_);
    if (applied == 0 || changed <= applied) return;
    const auto is_due = [this](const DeviatingFile& file) { return !is_pending(file); };
    const bool is_pending_only = std::none_of(files.begin(), files.end(), is_due);
    drift_.push_back({path_, "it was changed " + time_span(changed - applied) + " after the last apply",
                      is_pending_only, "the change is not in effect",
                      is_pending_only ? "" : "cmd_lanfab " + files.front().action});
    is_configuration_newer_ = true;
  }

  bool is_pending(const DeviatingFile& file) const {
    const bool is_run_active = snapshot_.lock && snapshot_.lock->is_held;
    // A run may have begun since the snapshot was taken.
    const std::optional<RunLockState> lock = read_run_lock();
    const std::time_t now = std::time(nullptr);
    const bool is_link_new = file.action != "apply" && std::abs(now - time_of_link()) < kLinkSeconds;
    return is_run_active || (lock && lock->is_held) || is_link_new;
  }

  void report_file(const DeviatingFile& file) {
    struct stat status {};
    const bool is_there = lstat(file.path.c_str(), &status) == 0;
    if (file.kind == DeviatingFile::Kind::kMissing && is_there && S_ISREG(status.st_mode)) {
      File unused;
      if (read_file(file.path, unused)) return;  // a run has just written it
      not_checked_.push_back(with_errno(file.path));
      return;
    }
    Drift drift{file.path, what(file, is_there), is_pending(file), kAffectsNextStart, ""};
    const bool is_foreign = is_there && !S_ISREG(status.st_mode);
    if (!drift.is_pending)
      drift.fix = (is_foreign ? "rm -r " + file.path + "; " : "") + "cmd_lanfab " + file.action;
    drift_.push_back(drift);
  }

  std::string what(const DeviatingFile& file, bool is_there) const {
    switch (file.kind) {
      case DeviatingFile::Kind::kMissing:
        return is_there ? "it is not a regular file" : "it is missing";
      case DeviatingFile::Kind::kSurplus:
        return "it is not configured";
      case DeviatingFile::Kind::kMode:
        return "its permissions were changed";
      case DeviatingFile::Kind::kContent:
        break;
    }
    return what_of_content(file);
  }

  std::string what_of_content(const DeviatingFile& file) const {
    const std::time_t written = modification_time(file.path);
    const std::time_t run = last_end();
    if (run != 0 && written > run + kAfterRunSeconds) return "it was edited";
    if (is_configuration_newer_) return "it is older than the configuration";
    if (file.action != "apply" && time_of_link() > written) return "it has old values of the cellular link";
    return "it is not as configured";
  }

  const Snapshot& snapshot_;
  std::vector<std::string>& not_checked_;
  std::string path_;  // the active configuration
  bool is_configuration_newer_ = false;
  std::vector<Drift> drift_;
};

}  // namespace

std::vector<Drift> find_file_drift(const Snapshot& snapshot, std::vector<std::string>& not_checked) {
  return FileCheck(snapshot, not_checked).find();
}
