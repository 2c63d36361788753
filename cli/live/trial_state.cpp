#include "cli/live/trial_state.h"

#include <limits.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/live/guard.h"
#include "cli/live/reserve.h"
#include "cli/live/units.h"

constexpr char kStateFile[] = "/run/lanfab/trial.json";
constexpr char kStagedConfiguration[] = "/run/lanfab/network.json.new";
constexpr char kInstalledCopy[] = "/run/lanfab/network.json.installed";
// Symbolic links whose target is the recorded string, since a link is created atomically.
constexpr char kDecision[] = "/run/lanfab/decision";
constexpr char kRequest[] = "/run/lanfab/rollback-request";
// Indexed by Decision.
constexpr const char* kDecisions[] = {"none", "confirmed", "rolled back"};
constexpr mode_t kPrivateDirectory = 0700;

std::string new_trial_id() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::to_string(getpid()) + "." + std::to_string(now.tv_sec) + "." + std::to_string(now.tv_nsec);
}

// Like a run of cmd_lanfab, assumes that the file exists if that cannot be determined.
bool is_trial_active() {
  struct stat status {};
  return lstat(kTrialConfiguration, &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

std::string active_configuration() {
  return is_trial_active() ? kTrialConfiguration : kInstalledConfiguration;
}

bool stage_trial(const std::string& content, const std::string& installed) {
  struct stat like {};
  File former;
  if (stat(installed.c_str(), &like) != 0 || !read_file(installed, former)) return false;
  return write_file({kInstalledCopy, kPrivateFile, former.content}) &&
         write_file({kStagedConfiguration, kPrivateFile, content}) &&
         chown(kStagedConfiguration, like.st_uid, like.st_gid) == 0 &&
         chmod(kStagedConfiguration, like.st_mode & kModeBits) == 0;
}

bool stage_target(const std::string& text) {
  return make_directories(kTargetDirectory, kPrivateDirectory) && write_file({kTarget, kPrivateFile, text});
}

bool activate_trial() {
  return std::rename(kStagedConfiguration, kTrialConfiguration) == 0;
}

static bool remove_file(const char* path) {
  return unlink(path) == 0 || errno == ENOENT;
}

// Removes all files, even if one cannot be removed. Returns false in that case, with the errno of the first
// failure.
template <typename... Paths>
static bool remove_files(const Paths*... paths) {
  int error = 0;
  const auto remove = [&error](const char* path) {
    if (!remove_file(path) && error == 0) error = errno;
  };
  (remove(paths), ...);
  errno = error;
  return error == 0;
}

static bool remove_directory(const char* path) {
  return rmdir(path) == 0 || errno == ENOENT;
}

bool deactivate_trial() {
  mark_end();
  // The staged configuration first, so that it cannot be activated any more.
  return remove_files(kStagedConfiguration, kTrialConfiguration);
}

bool is_installed_changed(const std::string& content) {
  File copy;
  return !read_file(kInstalledCopy, copy) || copy.content != content;
}

bool is_trial_installed(const TrialState& state) {
  File trial;
  File installed;
  return read_file(kTrialConfiguration, trial) && read_file(state.entry, installed) &&
         trial.content == installed.content && is_installed_changed(installed.content);
}

// Target of a symbolic link; empty if there is no link.
static std::string words_of(const char* link) {
  char words[PATH_MAX];
  const ssize_t size = readlink(link, words, sizeof words);
  return size > 0 ? std::string(words, static_cast<std::size_t>(size)) : "";
}

Decision read_decision() {
  const std::string words = words_of(kDecision);
  for (const Decision decision : {Decision::kConfirmed, Decision::kRolledBack})
    if (words == kDecisions[static_cast<int>(decision)]) return decision;
  return Decision::kNone;
}

Decision decide(Decision wanted) {
  if (symlink(kDecisions[static_cast<int>(wanted)], kDecision) == 0) return wanted;
  return read_decision();
}

void request_rollback(const std::string& why) {
  // If there is no space for the link, the rollback still takes place, but reports another reason.
  static_cast<void>(symlink(why.c_str(), kRequest) == 0);
}

std::string requested_rollback() {
  return words_of(kRequest);
}

std::int64_t monotonic_seconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

static std::string environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string caller() {
  std::string who = environment("SUDO_USER");
  const passwd* user = who.empty() ? getpwuid(getuid()) : nullptr;
  if (user != nullptr) who = user->pw_name;
  if (who.empty()) who = "user " + std::to_string(getuid());
  const std::string connection = environment("SSH_CONNECTION");
  return connection.empty() ? who : who + " from " + connection.substr(0, connection.find(' '));
}

std::optional<TrialState> read_state() {
  File file;
  Json::Value root;
  if (!read_file(kStateFile, file) || !parse_json(file.content, root) || !root.isObject())
    return std::nullopt;
  return TrialState{text_at(root, "who"),     text_at(root, "file"),  integer_at(root, "began"),
                    integer_at(root, "ends"), text_at(root, "id"),    text_at(root, "path"),
                    text_at(root, "entry"),   text_at(root, "sha256")};
}

bool write_state(const TrialState& state) {
  Json::Value root(Json::objectValue);
  root["who"] = state.who;
  root["file"] = state.file;
  root["began"] = Json::Int64(state.began);
  root["ends"] = Json::Int64(state.ends);
  root["id"] = state.id;
  root["path"] = state.path;
  root["entry"] = state.entry;
  root["sha256"] = state.sha256;
  return write_file({kStateFile, kPrivateFile, Json::writeString(Json::StreamWriterBuilder(), root)});
}

// The decision is removed last: a process that decides after that finds no state, so its decision has no
// effect.
static bool remove_notes() {
  return remove_files(kStateFile, kInstalledCopy, kRequest, kTarget, kKernelRecord, kTrialLinks) &&
         remove_directory(kTargetDirectory) && remove_files(kDecision);
}

bool remove_state() {
  const bool is_removed = remove_files(kTrialConfiguration, kStagedConfiguration);
  const int error = errno;
  if (!remove_notes()) return false;
  errno = error;
  return is_removed;
}

// The timer is stopped last: if this process is killed before that, the timer completes the end of the trial.
// After that, only the cleanup remains.
static std::optional<std::string> stop_timer_after(bool are_files_removed) {
  if (!are_files_removed) return with_errno(kTrialDirectory);
  if (!stop_revert_timer()) return std::string(kRevertTimer) + " cannot be stopped";
  end_guard();
  return std::nullopt;
}

std::optional<std::string> remove_trial() {
  mark_end();
  return stop_timer_after(remove_state());
}

std::optional<std::string> forget_trial() {
  mark_end();
  return stop_timer_after(remove_notes());
}

std::string describe(const TrialState& state) {
  const std::int64_t now = monotonic_seconds();
  const std::int64_t left = std::max<std::int64_t>(state.ends - now, 0);
  return printable(state.file) + " on trial by " + printable(state.who) + " for " +
         std::to_string(now - state.began) + " s, " + std::to_string(left) + " s left";
}
