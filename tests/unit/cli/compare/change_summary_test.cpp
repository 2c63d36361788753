#include "cli/compare/change_summary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/compare/unified_diff.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Contents by path. The name of an interface is short for the path of its network unit, whose [Match] section
// is added.
using Contents = std::map<std::string, std::string>;

}  // namespace

static FilesByPath files_with(const Contents& contents) {
  FilesByPath files;
  for (const auto& [name, content] : contents) {
    const bool is_path = name[0] == '/' || name == kCommands;
    const std::string path = is_path ? name : "/var/run/systemd/network/20-" + name + ".network";
    files[path] = {path, 0644, is_path ? content : "[Match]\nName = " + name + "\n\n" + content};
  }
  return files;
}

static std::vector<std::string> summary_of(const Contents& before, const Contents& after,
                                           Scope scope = Scope::kGateway) {
  FilesByPath old_files = files_with(before);
  FilesByPath new_files = files_with(after);
  std::vector<ChangedFile> changed;
  FilesByPath both = old_files;
  both.insert(new_files.begin(), new_files.end());
  for (const auto& entry : both) {
    const std::string& path = entry.first;
    const auto is_in = [&path](const FilesByPath& files) { return files.count(path) != 0; };
    const UnifiedDiff diff = unified_diff(path, is_in(old_files) ? old_files[path].content : "", path,
                                          is_in(new_files) ? new_files[path].content : "");
    changed.push_back({path, diff.removed, diff.added});
  }
  return change_summary(read_facts(old_files), read_facts(new_files), changed, scope);
}

// The unit of a port as cmd_lanfab writes it.
static std::string port(const std::string& address, const std::string& subnet,
                        const std::string& rest = std::string()) {
  return "[Network]\nAddress = " + address + "\nIPForward = yes\n\n[Route]\nDestination = " + subnet + "\n" +
         rest;
}

static std::string tunnel(const std::string& name, const std::string& description, const std::string& remote,
                          const std::string& rest = std::string()) {
  return "[NetDev]\nDescription = " + description + "\nName = " + name + "\nKind = gre\n" + rest +
         "\n[Tunnel]\nRemote = " + remote + "\nIndependent = true\n";
}

TEST(ChangeSummary, NothingChanges) {
  const Contents files = {{"eth0", port("192.168.1.1/24", "192.168.1.0/24")}};
  EXPECT_THAT(summary_of(files, files), IsEmpty());
}

TEST(ChangeSummary, AnotherAddressExplainsTheRouteToItsSubnet) {
  EXPECT_THAT(summary_of({{"eth0", port("192.168.1.1/24", "192.168.1.0/24")}},
                         {{"eth0", port("10.0.0.1/8", "10.0.0.0/8")}}),
              ElementsAre("eth0 changes its address from 192.168.1.1/24 to 10.0.0.1/8"));
}

TEST(ChangeSummary, PassThroughBeginsAndEnds) {
  const Contents lan_port = {{"eth0", "[Network]\nAddress = 192.168.1.1/24\n"}};
  const Contents passed_through = {{"eth0", "[Network]\nAddress = 192.168.1.1/24\nIPv4ProxyARP = yes\n"}};
  EXPECT_THAT(summary_of(lan_port, passed_through), ElementsAre("eth0 is in pass-through now"));
  EXPECT_THAT(summary_of(passed_through, lan_port), ElementsAre("eth0 is no longer in pass-through"));
}

TEST(ChangeSummary, ADirectRoute) {
  EXPECT_THAT(
      summary_of(
          {{"eth0", port("192.168.1.1/24", "192.168.1.0/24")}},
          {{"eth0", port("192.168.1.1/24", "192.168.1.0/24", "\n[Route]\nDestination = 10.20.0.0/16\n")}}),
      ElementsAre("eth0 gets the route to 10.20.0.0/16"));
}

TEST(ChangeSummary, ARouteExplainsTheCommandThatDeletesIt) {
  const std::string route = "\n[Route]\nDestination = 10.20.0.0/16\nMetric = 5\n";
  EXPECT_THAT(
      summary_of({{"eth0", port("192.168.1.1/24", "192.168.1.0/24", route)},
                  {"/var/run/.delete_static_routes", "#!/bin/sh\nip route del 10.20.0.0/16 dev eth0\n"}},
                 {{"eth0", port("192.168.1.1/24", "192.168.1.0/24")},
                  {"/var/run/.delete_static_routes", "#!/bin/sh\n"}}),
      ElementsAre("eth0 loses the route to 10.20.0.0/16, metric 5"));
}

TEST(ChangeSummary, RoutesInAnotherOrderAreCounted) {
  const std::string first = "\n[Route]\nDestination = 10.20.0.0/16\n";
  const std::string second = "\n[Route]\nDestination = 10.30.0.0/16\n";
  EXPECT_THAT(summary_of({{"eth0", port("192.168.1.1/24", "192.168.1.0/24", first + second)}},
                         {{"eth0", port("192.168.1.1/24", "192.168.1.0/24", second + first)}}),
              ElementsAre("4 lines differ in 20-eth0.network"));
}

TEST(ChangeSummary, LinesWithoutASentenceAreCountedByFile) {
  EXPECT_THAT(summary_of({{"eth0", "[Network]\nNTP = 9.9.9.9\n"}}, {{"eth0", "[Network]\nNTP = 1.1.1.1\n"}}),
              ElementsAre("2 lines differ in 20-eth0.network"));
  EXPECT_THAT(summary_of({{"eth0", "[Link]\nMTUBytes = 1400\n\n[Network]\nNTP = 9.9.9.9\n"},
                          {"/var/run/script", "old\n"}},
                         {{"eth0", "[Link]\nMTUBytes = 1280\n\n[Network]\n"}, {"/var/run/script", "new\n"}}),
              ElementsAre("eth0 changes its MTU from 1400 to 1280", "and 2 more lines in script",
                          "and 1 more line in 20-eth0.network"));
}

TEST(ChangeSummary, LayoutIsExplainedWhereAnythingElseOfItsFileIs) {
  const std::string resolver = "/var/run/resolv.conf";
  EXPECT_THAT(summary_of({}, {{resolver, "# DNS servers\n\n"}}),
              ElementsAre("2 lines differ in resolv.conf"));
  EXPECT_THAT(summary_of({}, {{resolver, "# DNS servers\n\nnameserver 9.9.9.9\n"}}),
              ElementsAre("the gateway gets the DNS servers 9.9.9.9"));
}

TEST(ChangeSummary, ANewInterfaceExplainsAllOfItsUnits) {
  EXPECT_THAT(summary_of({{"eth0", "[Network]\nAddress = 192.168.1.1/24\n"}},
                         {{"eth0", "[Network]\nVLAN = eth0.20\nAddress = 192.168.1.1/24\n"},
                          {"eth0.20", port("192.168.20.1/24", "192.168.20.0/24")},
                          {"/var/run/.delete_interfaces", "ip link delete dev eth0.20 type vlan\n"}}),
              ElementsAre("eth0.20 is new: 192.168.20.1/24",
                          "the gateway forwards packets between its networks now"));
}

TEST(ChangeSummary, AnInterfaceThatIsGoneServesNothing) {
  EXPECT_THAT(summary_of({{"eth0", port("192.168.1.1/24", "192.168.1.0/24")},
                          {"/var/run/dnsmasq.conf",
                           "dhcp-range=eth0,192.168.1.100,192.168.1.199,3600\n"
                           "dhcp-option=eth0,3,192.168.1.1\n"}},
                         {{"/var/run/dnsmasq.conf", ""}}),
              ElementsAre("eth0 is no longer set up, with 192.168.1.1/24 and DHCP .100 to .199",
                          "the gateway no longer forwards packets between its networks"));
}

TEST(ChangeSummary, AnotherAddressExplainsTheOptionsThatNameIt) {
  const std::string range = "dhcp-range=eth0,192.168.1.100,192.168.1.199,3600\n";
  EXPECT_THAT(summary_of({{"eth0", port("192.168.1.1/24", "192.168.1.0/24")},
                          {"/var/run/dnsmasq.conf", range + "dhcp-option=eth0,3,192.168.1.1\n"
                                                            "dhcp-option=eth0,6,192.168.1.1\n"
                                                            "dhcp-option=eth0,1,255.255.255.0\n"}},
                         {{"eth0", port("192.168.1.2/25", "192.168.1.0/25")},
                          {"/var/run/dnsmasq.conf", range + "dhcp-option=eth0,3,192.168.1.2\n"
                                                            "dhcp-option=eth0,6,169.254.0.1\n"
                                                            "dhcp-option=eth0,1,255.255.255.128\n"}}),
              ElementsAre("eth0 changes its address from 192.168.1.1/24 to 192.168.1.2/25",
                          "and 1 more line in dnsmasq.conf"));
}

TEST(ChangeSummary, AMemberOfTheBridge) {
  EXPECT_THAT(summary_of({{"eth1", port("192.168.2.1/24", "192.168.2.0/24")}},
                         {{"eth1", "[Network]\nBridge = br-lan\n"}}),
              ElementsAre("eth1 joins br-lan and gives up its own 192.168.2.1/24",
                          "the gateway no longer forwards packets between its networks"));
}

TEST(ChangeSummary, ARenumberedTunnelIsComparedWithItself) {
  const std::string first = "/var/run/systemd/network/70-gre-tun1.netdev";
  const std::string second = "/var/run/systemd/network/71-gre-tun2.netdev";
  EXPECT_THAT(
      summary_of({{first, tunnel("gre-tun1", "depot", "198.51.100.1")},
                  {second, tunnel("gre-tun2", "shop", "198.51.100.2")}},
                 {{first, tunnel("gre-tun1", "shop", "198.51.100.2", "MTUBytes = 1400\n")},
                  {kCommands, "/sbin/ip tunnel del gre-tun2\n"}}),
      ElementsAre("the tunnel \"shop\" to 198.51.100.2 moves from gre-tun2 to gre-tun1",
                  "the tunnel \"depot\" to 198.51.100.1 is removed; it was gre-tun1",
                  "firewall rules and scripts that name gre-tun1 now mean another tunnel; the tunnels "
                  "are torn down and set up again",
                  "gre-tun1 gets the MTU 1400", "gre-tun2 is gone"));
}

TEST(ChangeSummary, CommandsAreExplainedByTheInterfacesThatTheyName) {
  EXPECT_THAT(summary_of({{"eth1", "[Network]\nBridge = br-lan\n"}, {kCommands, "telnet-init start\n"}},
                         {{kCommands, "ip link set dev eth1 down\ntelnet-init stop\n"}}),
              ElementsAre("eth1 leaves br-lan and is switched off", "the telnet service is stopped"));
}

TEST(ChangeSummary, OneInterfaceForwardsForAll) {
  const std::string eth1 = port("192.168.2.1/24", "192.168.2.0/24");
  const std::string silent = "[Network]\nAddress = 192.168.1.1/24\n";
  const std::string loud = "[Network]\nAddress = 192.168.1.1/24\nIPForward = yes\n";
  EXPECT_THAT(summary_of({{"eth0", loud}, {"eth1", eth1}}, {{"eth0", silent}, {"eth1", eth1}}),
              ElementsAre("eth0 no longer switches forwarding on; other interfaces still do"));
  EXPECT_THAT(summary_of({{"eth0", silent}, {"eth1", eth1}}, {{"eth0", loud}, {"eth1", eth1}}),
              ElementsAre("eth0 switches forwarding on, as other interfaces do"));
  EXPECT_THAT(summary_of({{"eth0", silent}}, {{"eth0", loud}}),
              ElementsAre("the gateway forwards packets between its networks now"));
}

TEST(ChangeSummary, ARouteThatNoUnitHasIsWithoutEffect) {
  const std::string script = "/var/run/.delete_static_routes";
  const Contents before = {{"eth0", "[Network]\nBridge = br-lan\n"},
                           {"eth1", "[Network]\nAddress = 10.64.1.1/30\nIPv4ProxyARP = yes\n"},
                           {"gre-tun1", "[Network]\nAddress = 10.255.1.2/30\n"},
                           {script, "#!/bin/sh\n"}};
  const std::vector<std::pair<const char*, const char*>> cases = {
      {"eth0", "eth0 is a member of br-lan"},
      {"eth1", "eth1 is in pass-through"},
      {"gre-tun1", "gre-tun1 takes no static routes"},
      {"wlan0", "wlan0 is not set up"}};
  for (const auto& [interface, obstacle] : cases) {
    Contents after = before;
    after[script] += std::string("/sbin/ip route del 10.0.0.0/8 dev ") + interface + " 2>/dev/null\n";
    const std::string route = std::string("the route to 10.0.0.0/8 on ") + interface;
    EXPECT_THAT(summary_of(before, after), ElementsAre(route + " has no effect: " + obstacle));
    EXPECT_THAT(summary_of(after, before), ElementsAre(route + " is removed; it had no effect: " + obstacle));
  }
}

// The script deletes a route that the unit already has.
TEST(ChangeSummary, ARouteThatAUnitHasIsNotWithoutEffect) {
  const std::string unit = port("192.168.1.1/24", "192.168.1.0/24", "\n[Route]\nDestination = 10.0.0.0/8\n");
  const std::string script = "/var/run/.delete_static_routes";
  EXPECT_THAT(summary_of({{"eth0", unit}, {script, "#!/bin/sh\n"}},
                         {{"eth0", unit}, {script, "#!/bin/sh\n/sbin/ip route del 10.0.0.0/8 dev eth0\n"}}),
              ElementsAre("1 line differs in .delete_static_routes"));
}

TEST(ChangeSummary, ARelayComesAndGoesWithItsInterface) {
  const Contents without = {{"/var/run/dnsmasq.conf", ""}};
  const Contents with = {
      {"eth1", "[Network]\nAddress = 192.168.2.1/24\n"},
      {"/var/run/dnsmasq.conf", "# DHCP relay on eth1\ndhcp-relay=192.168.2.1,10.1.1.1\n"}};
  EXPECT_THAT(summary_of(without, with), ElementsAre("eth1 is new: 192.168.2.1/24, DHCP relay to 10.1.1.1"));
  EXPECT_THAT(summary_of(with, without),
              ElementsAre("eth1 is no longer set up, with 192.168.2.1/24 and DHCP relay to 10.1.1.1"));
}

TEST(ChangeSummary, AVlanIsLinkedToItsPort) {
  const Contents unlinked = {{"br-lan", "[Network]\nAddress = 10.0.0.1/8\n"}, {"eth0.20", "[Network]\n"}};
  const Contents linked = {
      {"br-lan", "[Network]\nVLAN = eth0.20\nAddress = 10.0.0.1/8\n\n[BridgeVLAN]\nVLAN = 20\n"},
      {"eth0.20", "[Network]\n"}};
  EXPECT_THAT(summary_of(unlinked, linked), ElementsAre("eth0.20 is linked to a port now"));
  EXPECT_THAT(summary_of(linked, unlinked),
              ElementsAre("eth0.20 is no longer linked to a port and does not come up"));
}

TEST(ChangeSummary, WithoutAllUnitsConsequencesAreNotKnown) {
  const std::string tunnels = "/var/run/systemd/network/70-gre-tun1.netdev";
  const Contents after = {{tunnels, tunnel("gre-tun1", "shop", "198.51.100.1")}};
  EXPECT_THAT(summary_of({}, after, Scope::kPart),
              ElementsAre("gre-tun1 is new: a tunnel \"shop\" to 198.51.100.1"));
  EXPECT_THAT(summary_of({}, after), ElementsAre("gre-tun1 is new: a tunnel \"shop\" to 198.51.100.1",
                                                 "gre-tun1 carries no traffic: it has no address"));
}

TEST(ChangeSummary, TheRouteToATunnelsRemoteEndpointMayLeadIntoIt) {
  const std::string device = "/var/run/systemd/network/70-gre-tun1.netdev";
  const Contents device_only = {{device, tunnel("gre-tun1", "shop", "198.51.100.1")},
                                {"eth0", "[Network]\nAddress = 10.0.0.1/8\n\n[Route]\nGateway = 10.0.0.2\n"}};
  Contents good = device_only;
  good["gre-tun1"] = "[Network]\nAddress = 10.255.1.2/30\n";
  Contents bad = device_only;
  bad["gre-tun1"] = good["gre-tun1"] +
                    "\n[Route]\nGateway = 10.255.1.1\nDestination=198.51.100.0/24\nGatewayOnlink = yes\n";
  const std::string route = "the route to 198.51.100.0/24 via 10.255.1.1";
  const std::string obstacle = "the route to its remote endpoint 198.51.100.1 leads into the tunnel itself";
  EXPECT_THAT(summary_of(good, bad),
              ElementsAre("gre-tun1 gets " + route, "gre-tun1 carries no traffic: " + obstacle));
  EXPECT_THAT(summary_of(bad, good),
              ElementsAre("gre-tun1 loses " + route, "gre-tun1 can carry traffic now; before, " + obstacle));
}
