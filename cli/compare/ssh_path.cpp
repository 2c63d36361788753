#include "cli/compare/ssh_path.h"

#include <vector>

#include "cli/compare/fields.h"
#include "cli/compare/routing.h"
#include "cli/compare/sentences.h"

namespace {

class SshPath {
 public:
  SshPath(std::string client, std::string server, Ipv4 client_address)
      : client_(std::move(client)), server_(std::move(server)), client_address_(client_address) {}

  std::string describe(const Facts& before, const Facts& after, const std::set<std::string>& replaced) const {
    const std::string owner = interface_with_address(before, server_);
    const std::string interface = owner.empty() ? dynamic_interface(before) : owner;
    if (interface.empty()) return name() + " does not use an address of the gateway";
    if (!owner.empty()) return name() + change(interface, before, after, replaced);
    return name() + ", if that is the address of " + interface + " from DHCP," +
           change(interface, before, after, replaced);
  }

 private:
  std::string name() const {
    return "your SSH connection from " + client_ + " to " + server_;
  }

  std::string change(const std::string& interface, const Facts& before, const Facts& after,
                     const std::set<std::string>& replaced) const {
    const std::string owner = interface_with_address(after, server_);
    const bool is_kept = owner == interface ||
                         (owner.empty() && is_dynamic(before, interface) && is_dynamic(after, interface));
    if (!is_kept && owner.empty()) return " breaks: " + interface + " no longer has the address " + server_;
    if (!is_kept) return " is interrupted: the address moves from " + interface + " to " + owner;
    const std::string way = reply_route(before);
    const std::string new_way = reply_route(after);
    if (new_way.empty() && !way.empty()) return " breaks: no route leads back to " + client_;
    if (new_way != way)
      return " may break: the route back to " + client_ + " changes from " + way + " to " + new_way;
    for (const std::string& link : {interface, way.substr(0, way.find(' '))})
      if (replaced.count(link) != 0) return " is interrupted: " + link + " is deleted and set up again";
    return " is not affected";
  }

  // The interface through which replies leave, if it is a DHCP client; otherwise empty. A server address
  // that is in no unit may be its leased address.
  std::string dynamic_interface(const Facts& facts) const {
    const auto route = find_route(routes_of(facts), client_address_);
    return route && is_dynamic(facts, route->interface) ? route->interface : std::string();
  }

  static bool is_dynamic(const Facts& facts, const std::string& name) {
    return value_at(facts.interfaces, name).address == kDynamicAddress;
  }

  std::string reply_route(const Facts& facts) const {
    const auto route = find_route(routes_of(facts), client_address_);
    return route ? hop_of(*route) : std::string();
  }

  std::string client_;
  std::string server_;
  Ipv4 client_address_;
};

}  // namespace

std::optional<std::string> describe_ssh_path(const std::string& connection, const Facts& before,
                                             const Facts& after, const std::set<std::string>& replaced) {
  const std::vector<std::string> words = words_of(connection);
  if (words.size() != 4) return std::nullopt;
  const std::optional<Ipv4> client = parse_ipv4(words[0]);
  if (client && parse_ipv4(words[2]))
    return SshPath(words[0], words[2], *client).describe(before, after, replaced);
  return "could not determine whether your SSH connection from " + words[0] + " breaks: it does not use IPv4";
}
