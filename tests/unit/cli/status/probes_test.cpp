#include "cli/status/probes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netpacket/packet.h>

#include <chrono>

#include "dhcp_offer.h"
#include "network.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Texts = std::vector<std::string>;
using Bytes = Responder::Bytes;

constexpr int kTime = 1000;  // in milliseconds

// A socket for the packets at eth1, the other end of eth0.
static int wire_socket(std::uint16_t protocol) {
  const int number = socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(protocol);
  address.sll_ifindex = static_cast<int>(if_nametoindex("eth1"));
  EXPECT_EQ(bind(number, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return number;
}

// Answers a request for one address as the host 02:00:5e:00:53:01.
static Responder::Answer arp_host(const Bytes& address) {
  return [address](const Bytes& request) -> std::vector<Bytes> {
    if (request.size() < 28 || request[7] != ARPOP_REQUEST ||
        Bytes(request.begin() + 24, request.begin() + 28) != address) {
      return {};
    }
    Bytes reply = request;
    reply[7] = ARPOP_REPLY;
    const Bytes owner = {0x02, 0x00, 0x5e, 0x00, 0x53, 0x01};
    std::copy(owner.begin(), owner.end(), reply.begin() + 8);
    std::copy(address.begin(), address.end(), reply.begin() + 14);
    return {reply};
  };
}

// The port eth0 at one end of a cable, with the test at the other end.
class ProbesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    set_interface_up("lo");
    set_interface_up("eth1");
    set_interface_address("eth0", "192.168.1.1");
    snapshot_.wanted.interfaces["eth0"];
    for (const char* name : {"eth0", "eth1"})
      snapshot_.kernel.links[name] = {true, true, 1500, "", std::nullopt, {}};
    snapshot_.kernel.links["eth0"].addresses = {{"192.168.1.1/24", false}};
  }

  // Runs the probes; returns each difference as "subject: what". Sets `lasted_` to the time in milliseconds.
  Texts probe() {
    const auto begin = std::chrono::steady_clock::now();
    std::vector<Drift> drift;
    add_probe_drift(snapshot_, drift, kTime);
    const auto lasted = std::chrono::steady_clock::now() - begin;
    lasted_ = std::chrono::duration_cast<std::chrono::milliseconds>(lasted).count();
    Texts texts;
    for (const Drift& one : drift)
      texts.push_back(one.subject + ": " + one.what);
    return texts;
  }

  void add_gateway(const char* interface, const char* gateway) {
    snapshot_.wanted.interfaces[interface].route_sections.push_back({"10.0.0.0/8", gateway, "", ""});
  }

  Snapshot snapshot_;
  std::int64_t lasted_ = 0;
};

// eth1, the other end of the cable, also belongs to this machine, which answers there for its own address.
TEST_F(ProbesTest, AnAddressOfThisMachineAlone) {
  EXPECT_THAT(probe(), IsEmpty());
  EXPECT_GE(lasted_, kTime);
}

TEST_F(ProbesTest, AnAddressThatAnotherHostHasToo) {
  const Responder host(wire_socket(ETH_P_ARP), arp_host({192, 168, 1, 1}));
  EXPECT_THAT(probe(), ElementsAre("eth0: the host 02:00:5e:00:53:01 has the address 192.168.1.1, too"));
}

TEST_F(ProbesTest, OnlyAddressesOnEthernetWithACarrierAreProbed) {
  const Responder host(wire_socket(ETH_P_ARP), arp_host({192, 168, 1, 1}));
  snapshot_.wanted.interfaces["lo"];
  snapshot_.kernel.links["lo"] = {true, true, 65536, "", std::nullopt, {{"192.168.1.1/24", false}}};
  snapshot_.wanted.interfaces["an-interface-with-a-long-name"];
  snapshot_.wanted.interfaces["eth9"];
  snapshot_.kernel.links["eth9"] = snapshot_.kernel.links["eth0"];
  snapshot_.kernel.links["eth0"].addresses.push_back({"no address", false});
  EXPECT_THAT(probe(), ::testing::SizeIs(1));
  snapshot_.kernel.links["eth0"].has_carrier = false;
  EXPECT_THAT(probe(), IsEmpty());
}

TEST_F(ProbesTest, AnotherDhcpServer) {
  snapshot_.wanted.servers["eth0"];
  snapshot_.wanted.servers["eth9"];
  const Responder server(wire_socket(ETH_P_IP), [](const Bytes& packet) -> std::vector<Bytes> {
    if (packet.size() != 328) return {};
    std::uint32_t transaction = 0;
    for (int index = 32; index < 36; ++index)
      transaction = transaction << 8 | packet[static_cast<std::size_t>(index)];
    return {offer_of(transaction + 1, {53, 1, 2, 54, 4, 10, 0, 0, 9}), offer_of(transaction),
            offer_of(transaction, {53, 1, 2, 54, 4, 192, 168, 1, 1})};
  });
  EXPECT_THAT(probe(), ElementsAre("eth0: there is another DHCP server, 192.168.1.253"));
}

TEST_F(ProbesTest, AGatewayThatAnswersByArp) {
  const Responder host(wire_socket(ETH_P_ARP), arp_host({192, 168, 1, 254}));
  add_gateway("eth0", "192.168.1.254");
  add_gateway("eth0", "_dhcp");
  add_gateway("eth9", "192.168.9.254");
  EXPECT_THAT(probe(), IsEmpty());
}

TEST_F(ProbesTest, GatewaysThatDoNotAnswer) {
  add_gateway("eth0", "192.168.1.254");
  snapshot_.kernel.routes.push_back({"default", "192.168.1.253", "eth0", 0, true});
  snapshot_.kernel.routes.push_back({"10.0.0.0/8", "192.168.1.252", "eth0", 0, false});
  snapshot_.kernel.routes.push_back({"10.0.0.0/8", "", "eth0", 0, true});
  EXPECT_THAT(probe(), ElementsAre("eth0: the gateway 192.168.1.253 does not answer",
                                   "eth0: the gateway 192.168.1.254 does not answer"));
}

TEST_F(ProbesTest, AGatewayIsAskedAlsoWithoutAnAddress) {
  const Responder host(wire_socket(ETH_P_ARP), arp_host({192, 168, 1, 254}));
  snapshot_.kernel.links["eth0"].addresses.clear();
  add_gateway("eth0", "192.168.1.254");
  EXPECT_THAT(probe(), IsEmpty());
}

// Like the cellular link, the loopback interface has no ARP.
TEST_F(ProbesTest, AGatewayOfALinkWithoutArpIsAskedForAnEcho) {
  snapshot_.kernel.links["lo"] = {true, true, 65536, "", std::nullopt, {}};
  add_gateway("lo", "127.0.0.2");
  EXPECT_THAT(probe(), IsEmpty());
  add_gateway("lo", "192.0.2.1");
  EXPECT_THAT(probe(), ElementsAre("lo: the gateway 192.0.2.1 does not answer"));
}

TEST_F(ProbesTest, RemoteEndpointsOfTunnels) {
  snapshot_.wanted.interfaces["gre-tun0"].remote = "127.0.0.2";
  snapshot_.wanted.interfaces["gre-tun1"].remote = "192.168.1.7";
  snapshot_.wanted.interfaces["gre-tun2"].remote = "192.0.2.1";
  const Texts found = probe();
  EXPECT_THAT(found, ElementsAre("gre-tun1: the remote endpoint 192.168.1.7 does not answer an echo request",
                                 "gre-tun2: the remote endpoint 192.0.2.1 does not answer an echo request"));
}

TEST_F(ProbesTest, NameServers) {
  const auto respond_with = [](unsigned char code) {
    return [code](Bytes query) {
      query[2] = 0x81;
      query[3] = code;
      return std::vector<Bytes>{query};
    };
  };
  const Responder good(udp_socket("127.0.0.2", 53), respond_with(0));
  const Responder bad(udp_socket("127.0.0.3", 53), respond_with(2));
  snapshot_.wanted.name_servers = "127.0.0.2, 127.0.0.3, 127.0.0.4, none";
  EXPECT_THAT(probe(), ElementsAre("dnsmasq: the DNS server 127.0.0.3 answers with the error 2",
                                   "dnsmasq: the DNS server 127.0.0.4 does not answer"));
}

TEST_F(ProbesTest, AllIsAskedAtTheSameTime) {
  snapshot_.wanted.servers["eth0"];
  add_gateway("eth0", "192.168.1.254");
  snapshot_.wanted.interfaces["gre-tun1"].remote = "192.168.1.7";
  snapshot_.wanted.name_servers = "127.0.0.4";
  EXPECT_THAT(probe(), ::testing::SizeIs(3));
  EXPECT_LT(lasted_, 2 * kTime);
}
