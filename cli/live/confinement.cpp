#include "cli/live/confinement.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

#include "cli/base/subprocess.h"
#include "cli/base/text.h"

// Content of packaging/lanfab.service.in.
extern const std::string_view kPackagedUnit;

constexpr char kBlanks[] = " \t\r";

// Prefixes of the settings that each service has for itself.
constexpr std::string_view kOwn[] = {
    "BusName",        "ExecCondition",     "ExecReload",   "ExecStart",     "ExecStop",
    "FileDescriptor", "GuessMainPID",      "NotifyAccess", "OOMPolicy",     "PIDFile",
    "ReloadSignal",   "RemainAfterExit",   "Restart",      "RuntimeMaxSec", "Sockets",
    "StartLimit",     "SuccessExitStatus", "Timeout",      "Type",          "Watchdog",
};

static bool is_comment(const std::string& line) {
  return line.empty() || line.front() == '#' || line.front() == ';';
}

// Lines of a unit without comments; lines continued with a backslash are joined.
static std::vector<std::string> joined_lines(const std::string& unit) {
  std::vector<std::string> lines;
  std::istringstream stream(unit);
  std::string whole;
  for (std::string line; std::getline(stream, line);) {
    line = trimmed(line, kBlanks);
    if (is_comment(line)) continue;
    const bool is_continued = line.back() == '\\';
    if (is_continued) line.back() = ' ';
    whole += line;
    if (is_continued) continue;
    lines.push_back(trimmed(whole, kBlanks));
    whole.clear();
  }
  return lines;
}

static bool is_own(const std::string& line) {
  return std::any_of(std::begin(kOwn), std::end(kOwn),
                     [&line](std::string_view key) { return line.compare(0, key.size(), key) == 0; });
}

std::vector<std::string> service_options(const std::string& unit) {
  std::vector<std::string> options;
  bool is_service = false;
  for (const std::string& line : joined_lines(unit)) {
    const std::size_t equals = line.find('=');
    if (line.front() == '[') {
      is_service = line == "[Service]";
    } else if (is_service && equals != std::string::npos && !is_own(line)) {
      options.push_back("--property=" + trimmed(line.substr(0, equals), kBlanks) + "=" +
                        trimmed(line.substr(equals + 1), kBlanks));
    }
  }
  return options;
}

std::vector<std::string> lanfab_service_options() {
  std::string unit;
  std::vector<std::string> options;
  if (!capture({"systemctl", "cat", "lanfab.service"}, unit)) options = service_options(unit);
  return options.empty() ? service_options(std::string(kPackagedUnit)) : options;
}
