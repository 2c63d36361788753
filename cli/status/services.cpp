#include "cli/status/services.h"

#include <cstdlib>
#include <sstream>

#include "cli/base/json.h"
#include "cli/base/subprocess.h"

// Microseconds since 1970 of "Mon 2026-11-23 03:27:09.880756 UTC"; 0 for a string without a date and time.
static std::int64_t parse_time(const std::string& text) {
  const std::size_t date = text.find(' ');
  std::tm fields{};
  if (date == std::string::npos) return 0;
  const char* rest = strptime(text.c_str() + date, " %Y-%m-%d %H:%M:%S", &fields);
  if (rest == nullptr) return 0;
  const std::int64_t fraction = *rest == '.' ? std::strtoll(rest + 1, nullptr, 10) : 0;
  return static_cast<std::int64_t>(timegm(&fields)) * kMicroseconds + fraction;
}

static void set_property(const std::string& key, const std::string& value, Service& service) {
  if (key == "ActiveState") service.state = value;
  if (key == "SubState") service.detail = value;
  if (key == "Result") service.result = value;
  if (key == "StateChangeTimestamp")
    service.since = static_cast<std::time_t>(parse_time(value) / kMicroseconds);
  if (key == "ExecMainStartTimestamp") service.started = parse_time(value);
  if (key == "MainPID" && value != "0") service.process = value;
}

// The output has the services in the order of the query, separated by an empty line.
std::optional<std::string> read_services(std::map<std::string, Service>& services) {
  std::string output;
  const std::string properties =
      "--property=ActiveState,SubState,Result,StateChangeTimestamp,MainPID,ExecMainStartTimestamp";
  if (auto error = capture({"systemctl", "show", "--timestamp=us+utc", properties, kNetworkd, kDnsmasq},
                           output, kQuerySeconds)) {
    return error;
  }
  Service* service = &services[kNetworkd];
  Service& last = services[kDnsmasq];
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    if (line.empty()) service = &last;
    if (equals != std::string::npos) set_property(line.substr(0, equals), line.substr(equals + 1), *service);
  }
  return std::nullopt;
}

std::optional<std::string> read_setup(std::map<std::string, std::string>& setup,
                                      std::map<std::string, std::string>& network_files) {
  std::string output;
  if (auto error = capture({"networkctl", "--json=short", "list"}, output, kQuerySeconds)) return error;
  Json::Value answer;
  if (!parse_json(output, answer) || !answer.isObject()) return "networkctl: invalid JSON output";
  for (const Json::Value& link : answer["Interfaces"]) {
    if (!link.isObject()) continue;
    setup[text_at(link, "Name")] = text_at(link, "AdministrativeState");
    if (link.isMember("NetworkFile")) network_files[text_at(link, "Name")] = text_at(link, "NetworkFile");
  }
  return std::nullopt;
}
