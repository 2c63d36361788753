#include "cli/compare/details.h"

#include "cli/compare/fields.h"
#include "cli/compare/sentences.h"

// The lease time of a DHCP server without a configured one, in seconds.
constexpr char kUsualLeaseTime[] = "3600";

// The first three numbers of an address, with the dots behind them; empty if the string contains no dot.
static std::string head_of(const std::string& address) {
  const std::size_t dot = address.rfind('.');
  return dot == std::string::npos ? std::string() : address.substr(0, dot + 1);
}

std::string range_in_words(const std::string& range, const std::string& address) {
  const std::string head = head_of(address);
  std::string words;
  for (const std::string& word : words_of(range)) {
    const std::size_t hyphen = word.find('-');
    if (hyphen == std::string::npos) {
      words = join(words, word, " ");
      continue;
    }
    const std::string begin = word.substr(0, hyphen);
    const std::string end = word.substr(hyphen + 1);
    const bool is_short = !head.empty() && head_of(begin) == head && head_of(end) == head;
    const std::size_t skipped = is_short ? head.size() - 1 : 0;
    words = join(words, begin.substr(skipped) + " to " + end.substr(skipped), " ");
  }
  return words;
}

namespace {

// Descriptions of the settings that have a value.
class Details {
 public:
  void add(const std::string& begin, const std::string& value) {
    if (!value.empty()) list.push_back(begin + value);
  }

  std::vector<std::string> list;
};

}  // namespace

static void add_tunnel(const std::string& name, const InterfaceFacts& tunnel, const Facts& facts,
                       Details& details) {
  std::string ends = "a tunnel";
  if (!tunnel.description.empty()) ends += " \"" + tunnel.description + "\"";
  if (!tunnel.local.empty()) ends += " from " + tunnel.local;
  if (!tunnel.remote.empty()) ends += " to " + tunnel.remote;
  details.list.push_back(ends);
  if (tunnel.copies_dscp) details.list.emplace_back("copies the DSCP class");
  details.add("replies via ", value_at(facts.reply_gateways, name));
}

static void add_server(const std::string& name, const std::string& address, const Facts& facts,
                       Details& details) {
  const auto server = facts.servers.find(name);
  if (server != facts.servers.end()) {
    details.add("DHCP ", range_in_words(server->second.range, address));
    const std::string& time = server->second.lease_time;
    if (time != kUsualLeaseTime) details.add("lease time ", time);
  }
  for (const std::string& relay : value_at(facts.relays, name))
    details.add("DHCP relay to ", relay);
}

std::vector<std::string> details_of(const std::string& name, const Facts& facts) {
  const InterfaceFacts interface = value_at(facts.interfaces, name);
  Details details;
  if (interface.is_tunnel) add_tunnel(name, interface, facts, details);
  details.add("", interface.address == kDynamicAddress ? "an address from DHCP" : interface.address);
  details.add("secondary address ", interface.secondary_address);
  details.add("gateway ", interface.gateway);
  details.add("metric ", interface.metric);
  details.add("MTU ", interface.mtu);
  details.add("DNS servers ", interface.name_servers);
  if (interface.is_passed_through) details.list.emplace_back("pass-through mode");
  for (const std::string& route : interface.routes)
    details.add("the route to ", route);
  add_server(name, interface.address, facts, details);
  return details.list;
}
