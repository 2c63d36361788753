#include "cli/live/applied.h"

#include <json/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <vector>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/sha256.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/live/runs.h"
#include "cli/live/trial_state.h"

// A line of JSON with the identity of the APPLY and the SHA-256, followed by the configuration.
constexpr char kRecord[] = "/run/lanfab/applied";
// The configuration that lanfab.service is about to apply.
constexpr char kNoted[] = "/run/lanfab/applying";
// Every APPLY removes this file and creates it again, unless it is killed before that.
constexpr char kMark[] = "/var/run/.delete_static_routes";

// In seconds. Without a limit, a run that waits for the lock of a killed run would never end.
constexpr char kApplyLimit[] = "170";

// Identity of the APPLY that created the mark; every APPLY has a different one.
static std::string identity_of(const struct stat& mark) {
  return std::to_string(mark.st_ino) + "." + std::to_string(mark.st_mtim.tv_sec) + "." +
         std::to_string(mark.st_mtim.tv_nsec);
}

// Whether the file, its owner or its name was changed after the mark was created; true if the file is
// missing. Compares the ctime, since a copy may keep the mtime.
static bool is_changed_since(const struct stat& mark, const std::string& path) {
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return true;
  const timespec changed = file.st_ctim;
  const timespec applied = mark.st_mtim;
  return changed.tv_sec != applied.tv_sec ? changed.tv_sec > applied.tv_sec
                                          : changed.tv_nsec > applied.tv_nsec;
}

// Reads the record of the APPLY with this identity. Returns false if there is none.
static bool read_record(const std::string& identity, Applied& applied) {
  File file;
  Json::Value header;
  if (!read_file(kRecord, file)) return false;
  const std::size_t end = file.content.find('\n');
  if (end == std::string::npos || !parse_json(file.content.substr(0, end), header) || !header.isObject() ||
      !header["apply"].isString() || header["apply"].asString() != identity || !header["sha256"].isString())
    return false;
  applied = {file.content.substr(end + 1), header["sha256"].asString()};
  return true;
}

std::optional<std::string> read_applied(Applied& applied) {
  struct stat mark {};
  if (stat(kMark, &mark) != 0) {
    if (errno != ENOENT) return with_errno(kMark);
    return "nothing has been applied since the machine was started";
  }
  if (read_record(identity_of(mark), applied)) {
    if (sha256(applied.text) == applied.sha256) return std::nullopt;
    return "the configuration was changed during the last APPLY";
  }
  const std::string active = active_configuration();
  File file;
  if (is_changed_since(mark, active)) return printable(active) + " was changed after the last APPLY";
  if (!read_file(active, file)) return with_errno(active);
  applied = {file.content, sha256(file.content)};
  return std::nullopt;
}

bool is_applied(const std::string& sha256) {
  Applied applied;
  return !read_applied(applied) && applied.sha256 == sha256;
}

// Replaces the record atomically, since two APPLYs may end at the same time. An empty checksum means that the
// configuration is unknown.
static bool write_record(const std::string& text, const std::string& checksum) {
  struct stat mark {};
  if (stat(kMark, &mark) != 0) return false;
  Json::Value header(Json::objectValue);
  header["apply"] = identity_of(mark);
  header["sha256"] = checksum;
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  const std::string path = std::string(kRecord) + "." + std::to_string(getpid()) + ".new";
  if (write_file({path, kPrivateFile, Json::writeString(writer, header) + "\n" + text}) &&
      std::rename(path.c_str(), kRecord) == 0)
    return true;
  const int error = errno;
  unlink(path.c_str());
  errno = error;
  return false;
}

bool record_applied(const std::string& text) {
  return write_record(text, sha256(text));
}

// Records `text`, which the file contained before the APPLY. If the file has changed since, the APPLY may
// have read another configuration, so records it as unknown.
static bool record_unless_changed(const std::string& text, const std::string& path) {
  File file;
  if (read_file(path, file) && file.content == text) return record_applied(text);
  return write_record("", "");
}

bool note_configuration() {
  File file;
  return read_file(active_configuration(), file) && write_file({kNoted, kPrivateFile, file.content});
}

bool record_noted_configuration() {
  File noted;
  if (!read_file(kNoted, noted)) return false;
  unlink(kNoted);
  return record_unless_changed(noted.content, active_configuration());
}

bool apply_and_record(const std::string& program, const std::string& directory) {
  remove_stale_lock();
  const std::string path = directory.empty() ? active_configuration() : directory + "/network.json";
  File before;
  const bool is_read = read_file(path, before);
  std::vector<std::string> command = {"timeout", "--kill-after=10", kApplyLimit, program, "apply"};
  if (!directory.empty()) command.insert(command.begin() + 3, {"env", "LANFAB_CONFIG_DIR=" + directory});
  if (!succeeds(command)) return false;
  if (!is_read || !record_unless_changed(before.content, path)) report(with_errno(kRecord));
  return true;
}
