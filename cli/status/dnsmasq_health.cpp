#include "cli/status/dnsmasq_health.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "cli/base/file.h"
#include "cli/base/subprocess.h"
#include "cli/base/text.h"
#include "cli/status/dns_query.h"
#include "cli/status/modified.h"
#include "cli/status/services.h"
#include "dnsmasq/dnsmasq_conf.h"
#include "dnsmasq/hosts.h"

// File that dnsmasq reads without --conf-file.
constexpr char kUsualConfiguration[] = "/etc/dnsmasq.conf";
// How other configurations include that of the run, with or without /var in front.
constexpr char kIncluded[] = "/run/dnsmasq.conf";
constexpr char kDhcpPort[] = ":0043";

static std::string content_of(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path).rdbuf();
  return content.str();
}

// Value of the option at `index`: after "=", after the letter, or in the next word, to which `index` then
// advances. Nothing if the word is another option.
static std::optional<std::string> value_of(const std::vector<std::string>& words, std::size_t& index,
                                           const std::string& letter, const std::string& name) {
  const std::string& word = words[index];
  if (begins_with(word, name + "=")) return word.substr(name.size() + 1);
  if (word == letter || word == name) return ++index < words.size() ? words[index] : "";
  if (begins_with(word, letter)) return word.substr(letter.size());
  return std::nullopt;
}

std::vector<std::string> dnsmasq_configurations(const std::string& command_line) {
  std::vector<std::string> words;
  std::istringstream stream(command_line);
  for (std::string word; std::getline(stream, word, '\0');)
    words.push_back(word);
  std::vector<std::string> files = {kUsualConfiguration};
  for (std::size_t index = 1; index < words.size(); ++index) {
    if (const auto file = value_of(words, index, "-C", "--conf-file")) {
      files.front() = *file;
    } else if (auto directory = value_of(words, index, "-7", "--conf-dir")) {
      // Patterns of file names may follow a comma.
      directory->erase(std::min(directory->find(','), directory->size()));
      for (const std::string& name : list_directory(*directory).value_or(std::vector<std::string>()))
        files.push_back(*directory + "/" + name);
    }
  }
  return files;
}

// The configuration file with which dnsmasq was started; empty if it is or includes that of the run, or is
// unknown.
static std::string other_configuration(const std::string& process) {
  const std::string command_line = content_of("/proc/" + process + "/cmdline");
  if (command_line.empty()) return "";
  const std::vector<std::string> files = dnsmasq_configurations(command_line);
  const bool leads_to_it = std::any_of(files.begin(), files.end(), [](const std::string& file) {
    return is_same_file(file, kDnsmasqConf) || content_of(file).find(kIncluded) != std::string::npos;
  });
  return leads_to_it ? "" : files.front();
}

// Inodes of the UDP sockets at the port of DHCP servers.
static std::set<std::string> dhcp_sockets() {
  std::set<std::string> inodes;
  std::istringstream lines(content_of("/proc/net/udp"));
  for (std::string line; std::getline(lines, line);) {
    std::istringstream stream(line);
    std::vector<std::string> columns;
    for (std::string column; stream >> column;)
      columns.push_back(column);
    if (columns.size() < 10) continue;
    const std::string& local = columns[1];
    if (local.substr(std::min(local.find(':'), local.size())) == kDhcpPort) inodes.insert(columns[9]);
  }
  return inodes;
}

// Whether the process has such a socket; nothing if one exists, but this user cannot determine its process.
static std::optional<bool> has_dhcp_socket(const std::string& process) {
  const std::set<std::string> sockets = dhcp_sockets();
  if (sockets.empty()) return false;
  const std::string directory = "/proc/" + process + "/fd/";
  const auto files = list_directory(directory);
  if (!files) return std::nullopt;
  return std::any_of(files->begin(), files->end(), [&](const std::string& file) {
    char target[64];
    const ssize_t size = readlink((directory + file).c_str(), target, sizeof target);
    const std::string text(target, static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return begins_with(text, "socket:[") && sockets.count(text.substr(8, text.size() - 9)) != 0;
  });
}

static std::vector<std::string> silent_addresses(const std::vector<std::string>& addresses) {
  std::vector<std::optional<int>> codes(addresses.size());
  std::vector<Exchange> exchanges;
  for (std::size_t index = 0; index < addresses.size(); ++index)
    exchanges.push_back(
        query_dns(parse_ipv4(addresses[index]).value_or(0), "localhost", DnsType::kAddress, &codes[index]));
  run_exchanges(exchanges, kQuerySeconds * 1000);
  std::vector<std::string> silent;
  for (std::size_t index = 0; index < addresses.size(); ++index)
    if (!exchanges[index].is_answered) silent.push_back(addresses[index]);
  return silent;
}

DnsmasqHealth read_dnsmasq_health(const std::string& process, const std::vector<std::string>& addresses) {
  return {std::max(modified_at(kDnsmasqConf), modified_at(kHostsFile)), other_configuration(process),
          silent_addresses(addresses), has_dhcp_socket(process)};
}
