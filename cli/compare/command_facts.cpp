#include "cli/compare/command_facts.h"

#include <cstdlib>

#include "cli/compare/fields.h"
#include "networkd/wwan_static_routes.h"
#include "tunnels/gre.h"

constexpr char kInterfacesToDelete[] = "/var/run/.delete_interfaces";
constexpr char kRoutesToDelete[] = "/var/run/.delete_static_routes";
// The routing table for replies to packets from the first tunnel; those of the other tunnels follow.
constexpr int kFirstReplyTable = 308;

static bool begins_with(const std::vector<std::string>& words, const std::vector<std::string>& begin) {
  if (words.size() < begin.size()) return false;
  for (std::size_t number = 0; number < begin.size(); ++number) {
    // The command itself may be given by its path.
    const std::string word = number == 0 ? words[0].substr(words[0].find_last_of('/') + 1) : words[number];
    if (word != begin[number]) return false;
  }
  return true;
}

static void read_ip_command(const std::string& path, const std::vector<std::string>& words, Facts& facts) {
  CommandFacts& commands = facts.commands;
  if (begins_with(words, {"ip", "tunnel", "del"}) && words.size() == 4)
    commands.deleted_tunnels.insert(words[3]);
  if (begins_with(words, {"ip", "link", "delete", "dev"}) && words.size() >= 5)
    (path == kInterfacesToDelete ? facts.links_to_delete : commands.deleted_links).insert(words[4]);
  if (begins_with(words, {"ip", "link", "set", "dev"}) && words.size() == 6 && words[5] == "down")
    commands.switched_off.insert(words[4]);
  if (words.size() < 6) return;
  if (path == kRoutesToDelete && begins_with(words, {"ip", "route", "del"}))
    facts.configured_routes.insert({words[5], words[3]});
  if (path == wwan_static_routes_path(kWwanRouteInterface) && begins_with(words, {"ip", "route", "add"}))
    facts.cellular_routes.insert(words[3]);
}

// Reads a command for a tunnel's reply table. The tables are numbered in the order of the tunnels, so the
// number gives the tunnel's name.
static void read_reply_route(const std::vector<std::string>& words, std::set<Topic>& topics, Facts& facts) {
  const int index = static_cast<int>(std::strtol(words[1].c_str(), nullptr, 10)) - kFirstReplyTable;
  const std::string name = gre_tunnel_name(index);
  topics.insert({name, what::kPresence});
  topics.insert({name, what::kNumber});
  if (!begins_with(words, {"route_table_add"}) || words.size() != 4) return;
  topics.insert({name, what::kReplies});
  facts.reply_gateways[words[2]] = words[3];
}

static void read_service_command(const std::vector<std::string>& words, std::set<Topic>& topics,
                                 CommandFacts& commands) {
  if (begins_with(words, {"telnet-init"}) && words.size() >= 2) {
    commands.telnet = words[1];
    topics.insert({subject::kGateway, what::kTelnet});
  }
  if (begins_with(words, {"systemctl", "start"}) || begins_with(words, {"systemctl", "restart"}))
    commands.services.push_back({words.back(), words[1] == "restart"});
}

// Adds topics for each word that may be the name of an interface. After "dev", adds topics for each word
// that may be the destination of a route on that interface.
static void explain_by_interfaces(const std::vector<std::string>& words, std::set<Topic>& topics) {
  for (const std::string& word : words) {
    topics.insert({word, what::kPresence});
    topics.insert({word, what::kKind});
    topics.insert({word, what::kNumber});
  }
  for (std::size_t number = 1; number < words.size(); ++number) {
    if (words[number - 1] != "dev") continue;
    for (const std::string& word : words)
      topics.insert({words[number], what::kRoute + word});
    // The kernel creates this device with the first tunnel.
    if (words[number] == "gre0") topics.insert({subject::kGateway, what::kTunnels});
  }
}

void read_command(const std::string& path, const std::string& line, std::set<Topic>& topics, Facts& facts) {
  const std::vector<std::string> words = words_of(line);
  explain_by_interfaces(words, topics);
  read_ip_command(path, words, facts);
  read_service_command(words, topics, facts.commands);
  const bool is_reply_route =
      begins_with(words, {"route_table_flush"}) || begins_with(words, {"route_table_add"});
  if (is_reply_route && words.size() >= 2) read_reply_route(words, topics, facts);
}
