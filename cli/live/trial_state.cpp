#include "cli/live/trial_state.h"

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
#include "cli/live/units.h"

constexpr char kStateFile[] = "/run/lanfab/trial.json";
constexpr char kStagedConfiguration[] = "/run/lanfab/network.json.new";
constexpr char kInstalledCopy[] = "/run/lanfab/network.json.installed";
constexpr mode_t kPrivate = 0600;
constexpr mode_t kPermissions = 07777;

std::string new_trial_id() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::to_string(getpid()) + "." + std::to_string(now.tv_sec) + "." + std::to_string(now.tv_nsec);
}

// As for a run of cmd_lanfab: a file that perhaps exists is not passed over.
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
  return write_file({kInstalledCopy, kPrivate, former.content}) &&
         write_file({kStagedConfiguration, kPrivate, content}) &&
         chown(kStagedConfiguration, like.st_uid, like.st_gid) == 0 &&
         chmod(kStagedConfiguration, like.st_mode & kPermissions) == 0;
}

bool activate_trial() {
  return std::rename(kStagedConfiguration, kTrialConfiguration) == 0;
}

static bool remove_file(const char* path) {
  return unlink(path) == 0 || errno == ENOENT;
}

// Removes all of them, whichever fails. False, with errno set by the first that stays.
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

bool deactivate_trial() {
  // The staged one first: nobody can activate it then.
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
  return TrialState{root["who"].asString(),  root["file"].asString(), root["began"].asInt64(),
                    root["ends"].asInt64(),  root["id"].asString(),   root["path"].asString(),
                    root["entry"].asString()};
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
  return write_file({kStateFile, kPrivate, Json::writeString(Json::StreamWriterBuilder(), root)});
}

bool remove_state() {
  return remove_files(kStateFile, kTrialConfiguration, kStagedConfiguration, kInstalledCopy, kKernelRecord,
                      kTrialLinks);
}

// The timer goes last: it completes what this process does not if it is killed.
static std::optional<std::string> stop_timer_after(bool are_files_removed) {
  std::optional<std::string> error;
  if (!are_files_removed) error = with_errno(kTrialDirectory);
  if (!stop_revert_timer() && !error) error = std::string(kRevertTimer) + " cannot be stopped";
  return error;
}

std::optional<std::string> remove_trial() {
  return stop_timer_after(remove_state());
}

std::optional<std::string> forget_trial() {
  return stop_timer_after(remove_files(kStateFile, kInstalledCopy, kKernelRecord, kTrialLinks));
}

std::string describe(const TrialState& state) {
  const std::int64_t now = monotonic_seconds();
  const std::int64_t left = std::max<std::int64_t>(state.ends - now, 0);
  return printable(state.who) + " tries " + printable(state.file) + " since " +
         std::to_string(now - state.began) + " s, for " + std::to_string(left) + " s more";
}
