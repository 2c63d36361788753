#include "cli/restore/record.h"

#include <sys/stat.h>

#include <cerrno>
#include <exception>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/json.h"
#include "cli/base/subprocess.h"
#include "cli/base/terminal.h"
#include "cli/live/trial_state.h"
#include "cli/restore/fields.h"
#include "networkd/unit_file.h"

constexpr off_t kLargestRecord = 4'000'000;
constexpr char kConf[] = "net/ipv4/conf/";
constexpr char kUnits[] = "units";

// Sysctls of a link that systemd-networkd sets for a unit, and others that affect where packets go.
constexpr const char* kSysctls[] = {
    "accept_local",   "arp_announce",        "arp_filter",     "arp_ignore",
    "forwarding",     "promote_secondaries", "proxy_arp",      "proxy_arp_pvlan",
    "route_localnet", "rp_filter",           "src_valid_mark",
};

// The parser throws an exception if the JSON is nested too deeply.
static bool parse(const std::string& text, Json::Value& value) {
  try {
    return parse_json(text, value);
  } catch (const std::exception&) {
    return false;
  }
}

static std::optional<std::string> query_ip(const Words& words, Json::Value& value) {
  Words command = {"ip", "-Numeric", "-json", "-details"};
  command.insert(command.end(), words.begin(), words.end());
  std::string output;
  if (auto error = capture(command, output, kQuerySeconds)) return error;
  // `ip` prints nothing if the list is empty.
  if (output.empty() || parse(output, value)) return std::nullopt;
  return "ip: invalid JSON output";
}

static Json::Value read_sysctls() {
  Json::Value sysctls(Json::objectValue);
  for (const std::string& link : list_directory(std::string("/proc/sys/") + kConf).value_or(Words())) {
    for (const char* name : kSysctls) {
      const std::string path = kConf + link + "/" + name;
      File file;
      if (read_file("/proc/sys/" + path, file))
        sysctls[path] = file.content.substr(0, file.content.find('\n'));
    }
  }
  return sysctls;
}

std::optional<std::string> query_kernel(Json::Value& record) {
  record = Json::Value(Json::objectValue);
  if (auto error = query_ip({"link", "show"}, record["links"])) return error;
  if (auto error = query_ip({"-4", "address", "show"}, record["addresses"])) return error;
  if (auto error = query_ip({"-4", "route", "show", "table", "all"}, record["routes"])) return error;
  if (auto error = query_ip({"-4", "rule", "show"}, record["rules"])) return error;
  record["sysctls"] = read_sysctls();
  return std::nullopt;
}

// The files have names such as "20-eth0.network" and "30-eth0.100.netdev".
UnitNames read_unit_names() {
  UnitNames names;
  for (const std::string& file : list_directory(kUnitDir).value_or(Words())) {
    const std::size_t dash = file.find('-');
    const std::size_t dot = file.rfind('.');
    if (dash == std::string::npos || dot == std::string::npos || dot < dash) continue;
    const std::string link = file.substr(dash + 1, dot - dash - 1);
    names.links.insert(link);
    if (file.substr(dot) == ".netdev") names.made.insert(link);
  }
  return names;
}

std::optional<std::string> write_record() {
  Json::Value record;
  if (auto error = query_kernel(record)) return error;
  record[kUnits] = Json::Value(Json::arrayValue);
  for (const std::string& link : read_unit_names().links)
    record[kUnits].append(link);
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  const std::string text = Json::writeString(builder, record);
  if (text.size() > kLargestRecord) return std::string(kKernelRecord) + ": too large";
  if (!write_file({kKernelRecord, kPrivateFile, text})) return with_errno(kKernelRecord);
  return std::nullopt;
}

std::optional<std::string> read_record(Json::Value& record) {
  struct stat status {};
  File file;
  if (stat(kKernelRecord, &status) != 0) return with_errno(kKernelRecord);
  if (status.st_size > kLargestRecord) return std::string(kKernelRecord) + ": too large";
  if (!read_file(kKernelRecord, file)) return with_errno(kKernelRecord);
  if (parse(file.content, record) && record.isObject()) return std::nullopt;
  return std::string(kKernelRecord) + ": damaged";
}

static std::set<std::string> read_trial_links() {
  std::set<std::string> links;
  File file;
  if (!read_file(kTrialLinks, file)) return links;
  std::istringstream lines(file.content);
  for (std::string line; std::getline(lines, line);)
    links.insert(line);
  return links;
}

// Uses a separate file, so that the record stays intact even if /run is full.
void note_trial_links() {
  std::set<std::string> links = read_trial_links();
  links.merge(read_unit_names().links);
  std::string text;
  for (const std::string& link : links)
    text += link + "\n";
  if (!write_file({kTrialLinks, kPrivateFile, text})) report(with_errno(kTrialLinks));
}

std::set<std::string> named_links(const Json::Value& record) {
  std::set<std::string> links = read_trial_links();
  links.merge(read_unit_names().links);
  for (const Json::Value& link : array_field(record, kUnits))
    if (link.isString()) links.insert(link.asString());
  return links;
}
