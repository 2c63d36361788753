#include "cli/status/run_history.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <sstream>

#include "cli/base/json.h"
#include "cli/base/secrets.h"
#include "cli/base/subprocess.h"
#include "cli/live/runs.h"
#include "cli/status/services.h"

// First and last message of a run, and the end of the path of its program.
constexpr char kStart[] = "cmd_lanfab start";
constexpr char kEndOfRun[] = "cmd_lanfab clear lock";
constexpr char kProgram[] = "/cmd_lanfab";

// Number of entries that are searched for the last run of each action. The cellular link manager starts a run
// each time the link changes; an action that is not among these entries is reported as not run.
constexpr char kCandidates[] = "--lines=1000";
// journald gets the user from the kernel, so it cannot be forged.
constexpr char kByRoot[] = "_UID=0";

namespace {

// A message that an action writes if it fails. An APPLY writes those about the cellular link, too, but
// succeeds.
struct Failure {
  const char* action;
  const char* text;
};

struct Entry {
  std::string cursor;
  std::string process;
  std::int64_t time;
  Message message;
};

}  // namespace

constexpr std::array<const char*, 3> kActions = {"APPLY", "WWAN_APPLY", "DNSMASQ"};
constexpr char kBeginning[] = "MESSAGE=lanfab ";
constexpr std::array<Failure, 4> kFailures = {{{"APPLY", "cmd lanfab apply failed"},
                                               {"DNSMASQ", "cmd lanfab dnsmasq failed"},
                                               {"WWAN_APPLY", "wwan network info not available"},
                                               {"WWAN_APPLY", "error creating wwan network unit file"}}};

// journalctl prints a message that is not valid UTF-8 or contains control characters as an array of bytes.
static std::string message_text(const Json::Value& message) {
  if (!message.isArray()) return message.asString();
  std::string text;
  for (const Json::Value& byte : message) {
    const int code = byte.isInt() ? byte.asInt() : 0;
    text += (code >= ' ' && code <= '~') || code == '\n' ? static_cast<char>(code) : '?';
  }
  return text;
}

static std::int64_t number_of(const Json::Value& text) {
  return std::strtoll(text.asCString(), nullptr, 10);
}

// Whether a run wrote the entry. The program is unknown if the process ended before journald read the
// message; the user is always known.
static bool is_of_run(const Json::Value& entry) {
  if (entry["_UID"] != "0") return false;
  const Json::Value& program = entry["_EXE"];
  if (!program.isString()) return program.isNull();
  const std::string path = program.asString();
  const std::size_t slash = path.rfind('/');
  return slash != std::string::npos && path.compare(slash, std::string::npos, kProgram) == 0;
}

static bool read_entry(const std::string& line, Entry& entry) {
  Json::Value value;
  if (!parse_json(line, value) || !value.isObject()) return false;
  for (const char* key : {"__CURSOR", "__REALTIME_TIMESTAMP", "_PID", "PRIORITY"})
    if (!value[key].isString()) return false;
  if (!is_of_run(value)) return false;
  entry.cursor = value["__CURSOR"].asString();
  entry.process = value["_PID"].asString();
  entry.time = number_of(value["__REALTIME_TIMESTAMP"]);
  entry.message = {static_cast<int>(number_of(value["PRIORITY"])),
                   SecretMask().masked(message_text(value["MESSAGE"]))};
  return true;
}

static std::optional<std::string> read_journal(const std::vector<std::string>& matches,
                                               std::vector<Entry>& entries) {
  std::vector<std::string> command = {"journalctl",
                                      "--boot",
                                      "--quiet",
                                      "--no-pager",
                                      "--identifier=network",
                                      "--output=json",
                                      "--all",
                                      "--output-fields=MESSAGE,PRIORITY,_PID,_UID,_EXE",
                                      kByRoot};
  command.insert(command.end(), matches.begin(), matches.end());
  std::string output;
  if (auto error = capture(command, output, kQuerySeconds)) return error;
  std::istringstream lines(output);
  Entry entry;
  for (std::string line; std::getline(lines, line);)
    if (read_entry(line, entry)) entries.push_back(entry);
  return std::nullopt;
}

static bool is_failure(const std::string& action, const Message& message) {
  return std::any_of(kFailures.begin(), kFailures.end(), [&](const Failure& failure) {
    return failure.action == action && failure.text == message.text;
  });
}

// The run that begins with the entry `mark`. Entries of the same PID after the end of the run belong to
// another run, since PIDs are reused.
static LastRun read_run(const std::string& action, const Entry& mark, const std::vector<Entry>& all) {
  std::vector<Entry> entries;
  bool has_begun = false;
  for (const Entry& entry : all) {
    has_begun |= entry.cursor == mark.cursor;
    if (has_begun && entry.process == mark.process) entries.push_back(entry);
  }
  if (entries.empty()) entries.push_back(mark);
  LastRun run;
  run.action = action;
  run.began = entries.front().time;
  bool is_over = false;
  bool has_failed = false;
  for (const Entry& entry : entries) {
    if (entry.message.text == kStart) break;
    run.lasted = entry.time - run.began;
    run.messages.push_back(entry.message);
    has_failed |= is_failure(action, entry.message);
    is_over = entry.message.text == kEndOfRun;
    if (is_over) break;
  }
  if (is_over) {
    run.end = has_failed ? LastRun::End::kFailed : LastRun::End::kDone;
  } else if (is_run(entries.front().process)) {
    run.end = LastRun::End::kRunning;
  }
  return run;
}

// Finds the entry with which the last run of each action began. Returns nothing, or why the journal cannot be
// read.
static std::optional<std::string> read_marks(std::map<std::string, Entry>& marks) {
  std::vector<std::string> query = {"--reverse", kCandidates};
  for (const char* action : kActions)
    query.push_back(std::string(kBeginning) + action);
  std::vector<Entry> entries;
  if (auto error = read_journal(query, entries)) return error;
  for (const char* action : kActions) {
    const auto found = std::find_if(entries.begin(), entries.end(), [action](const Entry& entry) {
      return entry.message.text == std::string("lanfab ") + action;
    });
    if (found != entries.end()) marks[action] = *found;
  }
  return std::nullopt;
}

// Reads the runs that begin with the entries `marks`. Returns nothing, or why the journal cannot be read.
static std::optional<std::string> read_runs(const std::map<std::string, Entry>& marks,
                                            std::vector<LastRun>& runs) {
  const auto first = std::min_element(marks.begin(), marks.end(), [](const auto& one, const auto& other) {
    return one.second.time < other.second.time;
  });
  std::vector<std::string> query = {"--cursor=" + first->second.cursor};
  for (const auto& [action, mark] : marks)
    query.push_back("_PID=" + mark.process);
  std::vector<Entry> entries;
  if (auto error = read_journal(query, entries)) return error;
  for (const char* action : kActions)
    if (const auto mark = marks.find(action); mark != marks.end())
      runs.push_back(read_run(action, mark->second, entries));
  return std::nullopt;
}

static bool is_interrupted(const LastRun& run) {
  return run.end == LastRun::End::kInterrupted;
}

std::optional<std::string> read_last_runs(std::vector<LastRun>& runs) {
  std::map<std::string, Entry> marks;
  if (auto error = read_marks(marks)) return error;
  if (marks.empty()) return std::nullopt;
  std::vector<LastRun> found;
  if (auto error = read_runs(marks, found)) return error;
  // A run that ends while the journal is read looks as if it was interrupted: its last message comes later.
  if (std::any_of(found.begin(), found.end(), is_interrupted)) {
    found.clear();
    if (auto error = read_runs(marks, found)) return error;
  }
  runs.insert(runs.end(), found.begin(), found.end());
  return std::nullopt;
}

const char* word_for(LastRun::End end) {
  switch (end) {
    case LastRun::End::kDone:
      return "done";
    case LastRun::End::kFailed:
      return "failed";
    case LastRun::End::kRunning:
      return "running";
    case LastRun::End::kInterrupted:
      break;
  }
  return "interrupted";
}
