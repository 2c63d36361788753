#include "cli/live/trial_state.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/live/system.h"
#include "cli/live/units.h"

constexpr char kStateFile[] = "/run/lanfab/trial.json";
constexpr mode_t kPrivate = 0600;

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
  return TrialState{root["who"].asString(), root["file"].asString(), root["began"].asInt64(),
                    root["ends"].asInt64()};
}

bool write_state(const TrialState& state) {
  Json::Value root(Json::objectValue);
  root["who"] = state.who;
  root["file"] = state.file;
  root["began"] = Json::Int64(state.began);
  root["ends"] = Json::Int64(state.ends);
  return write_file({kStateFile, kPrivate, Json::writeString(Json::StreamWriterBuilder(), root)});
}

static bool remove_file(const char* path) {
  return unlink(path) == 0 || errno == ENOENT;
}

bool remove_state() {
  if (remove_file(kStateFile)) return remove_file(kTrialFile);
  const int error = errno;
  remove_file(kTrialFile);
  errno = error;
  return false;
}

// The timer goes last: it completes what this process does not if it is killed.
std::optional<std::string> remove_trial() {
  std::optional<std::string> error;
  if (!remove_state()) error = with_errno(kStateDirectory);
  if (!stop_revert_timer() && !error) error = std::string(kRevertTimer) + " cannot be stopped";
  return error;
}

std::string describe(const TrialState& state) {
  const std::int64_t now = monotonic_seconds();
  const std::int64_t left = std::max<std::int64_t>(state.ends - now, 0);
  return printable(state.who) + " tries " + printable(state.file) + " since " +
         std::to_string(now - state.began) + " s, for " + std::to_string(left) + " s more";
}
