#include "cli/report/bundle.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/dry_run/dry_run.h"
#include "cli/history/history.h"
#include "cli/history/list.h"
#include "cli/live/installed_file.h"
#include "cli/live/units.h"
#include "cli/report/query.h"
#include "cli/report/redaction.h"
#include "tunnels/wireguard.h"

constexpr char kRuntimeDirectory[] = "/run";
constexpr char kUnitDirectory[] = "/run/systemd/network";
// Names of the gateway's files in /run, besides the units. Files of the cellular link are not listed here:
// their names begin with "wwan".
constexpr std::array<std::string_view, 9> kRuntimeFiles = {
    ".delete_interfaces", ".delete_static_routes", "LANFAB_LOCKED", "ROUTER_MODE",
    "dnsmasq.conf",       "dnsmasq.leases",        "hosts",         "post_networkd_start_actions_script",
    "resolv.conf"};

static std::vector<Query> version_queries() {
  return {{{own_program(), "--version"}}, {{find_program().value_or("cmd_lanfab"), "--version"}},
          {{"cat", "/etc/os-release"}},   {{"uname", "-a"}},
          {{"systemctl", "--version"}},   {{"dnsmasq", "--version"}},
          {{"ip", "-Version"}},           {{"uptime"}}};
}

static std::vector<Query> journal_queries() {
  std::vector<std::string> command = {"journalctl", "--no-pager", "--lines=5000", "--output=short-iso",
                                      "--identifier=network"};
  std::vector<std::string> services = {"journalctl", "--no-pager", "--lines=5000", "--output=short-iso"};
  for (const char* unit :
       {"lanfab.service", "systemd-networkd.service", "dnsmasq.service", kApplyUnit, kRevertUnit})
    services.push_back(std::string("--unit=") + unit);
  return {{services, 10}, {command, 10}};
}

static std::vector<Query> ip_queries() {
  return {{{"ip", "-details", "-statistics", "link"}},
          {{"ip", "address"}},
          {{"ip", "route", "show", "table", "all"}},
          {{"ip", "rule"}},
          {{"ip", "neighbour"}}};
}

namespace {

// Collects all items unmasked, then masks them, once all secrets are known.
class Collector {
 public:
  std::vector<ReportItem> collect() {
    add_configurations();
    add_history();
    add_generated();
    learn_private_keys();
    add_answers("/versions.txt", version_queries());
    add_answers("/status.txt", {{{own_program(), "status", "-v"}, 60}});
    add_answers("/status.json", {{{own_program(), "status", "--format=json"}, 60}});
    add_answers("/journal.txt", journal_queries());
    add_answers("/units.txt",
                {{{"systemctl", "--no-pager", "cat", "lanfab", "systemd-networkd", "dnsmasq"}}});
    add_answers("/ip.txt", ip_queries());
    add_networkctl();
    return masked();
  }

 private:
  struct Raw {
    ReportItem item;
    bool is_configuration;
  };

  void add(const ReportItem& item) {
    items_.push_back({item, false});
  }

  // Adds a file and learns its secrets. Does nothing if the file does not exist.
  void add_file(const std::string& path, bool is_configuration = false) {
    std::string content;
    errno = 0;
    const auto error = read_beginning(path, content);
    if (error && errno == ENOENT) return;
    if (is_configuration) {
      redaction_.learn_configuration(content);
    } else {
      redaction_.learn_text(content);
    }
    items_.push_back({{path, content, error.value_or("")}, is_configuration});
  }

  void add_answers(const std::string& name, const std::vector<Query>& queries) {
    ReportItem item{name, "", ""};
    for (const Query& query : queries) {
      item.content += item.content.empty() ? "$" : "\n$";
      for (const std::string& word : query.command)
        item.content += " " + word;
      item.content += "\n";
      const auto failure = run_query(query, item.content);
      if (!failure) continue;
      item.content += "(" + *failure + ")\n";
      item.error += (item.error.empty() ? "" : "; ") + *failure;
    }
    add(item);
  }

  void add_configurations() {
    InstalledFile installed;
    if (find_installed(installed)) installed.entry = kInstalledConfiguration;
    add_file(kInstalledConfiguration, true);
    add_file(kTrialConfiguration, true);
    add_file(installed.entry + kPreviousSuffix, true);
    add_file(std::string(kTrialDirectory) + "/trial.json");
  }

  void add_history() {
    std::vector<HistoryEntry> entries;
    const auto error = History().read(entries);
    for (const HistoryEntry& entry : entries)
      redaction_.learn_configuration(entry.configuration);
    add({"/history.txt", list_text(entries), error.value_or("")});
  }

  static std::vector<std::string> names_in(const std::string& directory) {
    return list_directory(directory).value_or(std::vector<std::string>());
  }

  void add_generated() {
    for (const std::string& name : names_in(kUnitDirectory))
      add_file(std::string(kUnitDirectory) + "/" + name);
    for (const std::string& name : names_in(kRuntimeDirectory)) {
      const bool is_known =
          std::find(kRuntimeFiles.begin(), kRuntimeFiles.end(), name) != kRuntimeFiles.end();
      if (is_known || name.compare(0, 4, "wwan") == 0) add_file(std::string(kRuntimeDirectory) + "/" + name);
    }
  }

  // Private key files are not in the report, but any item may quote their keys.
  void learn_private_keys() {
    const std::string any = wireguard_private_key_file("");
    const std::string directory = any.substr(0, any.rfind('/') + 1);
    for (const std::string& name : names_in(directory)) {
      std::string key;
      if (!read_beginning(directory + name, key)) redaction_.learn_private_key(key);
    }
  }

  // Queries networkctl only if systemd-networkd is active: a query would start the service.
  void add_networkctl() {
    bool is_active = false;
    const auto error = query_unit("systemd-networkd.service", is_active);
    if (error || !is_active) {
      add({"/networkctl.txt", "", error.value_or("systemd-networkd is not active")});
    } else {
      add_answers("/networkctl.txt", {{{"networkctl", "--no-pager", "list"}},
                                      {{"networkctl", "--no-pager", "--all", "--lines=0", "status"}}});
    }
  }

  std::vector<ReportItem> masked() {
    std::vector<ReportItem> items;
    items.reserve(items_.size() + 1);
    for (const auto& [item, is_configuration] : items_) {
      items.push_back(
          {item.name,
           is_configuration ? redaction_.masked_configuration(item.content) : redaction_.masked(item.content),
           redaction_.masked(item.error)});
    }
    if (const std::string keys = redaction_.public_keys(); !keys.empty())
      items.push_back({"/public_keys.txt", keys, ""});
    return items;
  }

  Redaction redaction_;
  std::vector<Raw> items_;
};

}  // namespace

std::vector<ReportItem> collect_report() {
  return Collector().collect();
}
