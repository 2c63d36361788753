// Configuration objects from JSON files: the name "network" refers to <directory>/network.json, and
// "network.tunnels.gre" to the value at "tunnels.gre" in it. configuration_file.h has the directories. Prints
// errors in a file to standard error as file:line:column: reason, since the callers only see that the fetch
// failed.

#include <fcntl.h>
#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "configuration_file.h"
#include "configuration_text.h"
#include "platform/libcmd.h"
#include "text_policy.h"

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const {
    std::fclose(file);
  }
};

struct ConfigurationFile {
  std::string path;
  std::unique_ptr<std::FILE, CloseFile> stream;  // null, with errno set, if the file cannot be opened
};

}  // namespace

// Opens the file of a trial. If it exists but cannot be read, that is an error: the installed one is not the
// intended configuration.
static ConfigurationFile open_trial(const std::string& name) {
  const std::string path = std::string(kTrialDirectory) + name;
  const int descriptor = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  return {path, std::unique_ptr<std::FILE, CloseFile>(descriptor >= 0 ? fdopen(descriptor, "r") : nullptr)};
}

// Opens the active file of an object.
static ConfigurationFile open_active(const std::string& object_name) {
  const std::string name = "/" + object_name + ".json";
  const char* directory = std::getenv("LANFAB_CONFIG_DIR");
  if (directory == nullptr) {
    ConfigurationFile trial = open_trial(name);
    if (trial.stream != nullptr || (errno != ENOENT && errno != ENOTDIR)) return trial;
  }
  const std::string path = (directory != nullptr ? directory : kInstalledDirectory) + name;
  return {path, std::unique_ptr<std::FILE, CloseFile>(std::fopen(path.c_str(), "re"))};
}

// Reads the active file of an object, and sets `path` to it.
static bool read_active(const std::string& object_name, std::string& path, std::string& text) {
  const ConfigurationFile file = open_active(object_name);
  path = file.path;
  const std::optional<std::string> failure =
      file.stream != nullptr ? read_configuration(file.stream.get(), text) : std::strerror(errno);
  if (failure) std::fprintf(stderr, "%s: %s\n", path.c_str(), failure->c_str());
  return !failure;
}

// Formats "file:line:column: reason". The reason may quote a key of the file, so characters other than
// printable ASCII become question marks.
static std::string located(const std::string& path, ParseError parse_error) {
  std::replace_if(
      parse_error.reason.begin(), parse_error.reason.end(),
      [](unsigned char c) { return c < 0x20 || c >= 0x7f; }, '?');
  return path + ":" + std::to_string(parse_error.position.line) + ":" +
         std::to_string(parse_error.position.column) + ": " + parse_error.reason;
}

static void report(const std::string& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
}

// Whether every string is allowed. The first one that is not is reported on standard error and, since it may
// be an attempted injection, in the log.
static bool are_texts_allowed(const std::string& path, const std::string& text, const Json::Value& root) {
  const std::vector<RefusedText> refused = find_refused_texts(root);
  if (refused.empty()) return true;
  const RefusedText& first = refused.front();
  const std::string refusal =
      located(path, {position_of(text, first.value->getOffsetStart()), first.path + ": " + first.reason});
  report(refusal);
  syslog(LOG_NOTICE, "%s", refusal.c_str());
  return false;
}

int cmd_get_value_json(const std::string& name, Json::Value& value) {
  const std::size_t dot = name.find('.');
  std::string path;
  std::string text;
  Json::Value root;
  if (!read_active(name.substr(0, dot), path, text)) return -1;
  if (const std::optional<ParseError> parse_error = parse_configuration(text, root)) {
    report(located(path, *parse_error));
    return -1;
  }
  if (!are_texts_allowed(path, text, root)) return -1;
  if (dot == std::string::npos) {
    value = std::move(root);
    return 0;
  }
  if (config_get_object(root, value, name.substr(dot + 1))) return 0;
  std::fprintf(stderr, "%s: no object at \"%s\"\n", path.c_str(), name.substr(dot + 1).c_str());
  return -1;
}
