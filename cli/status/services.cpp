#include "cli/status/services.h"

#include <cstdlib>
#include <sstream>

#include "cli/base/json.h"
#include "cli/base/subprocess.h"

static void set_property(const std::string& key, const std::string& value, Service& service) {
  if (key == "ActiveState") service.state = value;
  if (key == "SubState") service.detail = value;
  if (key == "Result") service.result = value;
  // As "@1795292324".
  if (key == "StateChangeTimestamp" && !value.empty())
    service.since = static_cast<std::time_t>(std::strtoll(value.c_str() + 1, nullptr, 10));
}

static std::optional<std::string> read_service(const char* name, Service& service) {
  std::string output;
  const std::string properties = "--property=ActiveState,SubState,Result,StateChangeTimestamp";
  if (auto trouble = capture({"systemctl", "show", "--timestamp=unix", properties, name}, output))
    return trouble;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t equals = line.find('=');
    if (equals != std::string::npos) set_property(line.substr(0, equals), line.substr(equals + 1), service);
  }
  return std::nullopt;
}

std::optional<std::string> read_services(std::map<std::string, Service>& services) {
  for (const char* name : {kNetworkd, kDnsmasq})
    if (auto trouble = read_service(name, services[name])) return trouble;
  return std::nullopt;
}

std::optional<std::string> read_setup(std::map<std::string, std::string>& setup) {
  Json::Value answer;
  if (auto trouble = capture_json({"networkctl", "--json=short", "list"}, answer)) return trouble;
  if (!answer.isObject()) return "networkctl: what it prints is no JSON";
  for (const Json::Value& link : answer["Interfaces"])
    if (link.isObject()) setup[link["Name"].asString()] = link["AdministrativeState"].asString();
  return std::nullopt;
}
