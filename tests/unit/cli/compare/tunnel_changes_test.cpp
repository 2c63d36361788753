#include "cli/compare/tunnel_changes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

struct Tunnel {
  const char* description;
  const char* remote;
  const char* address;
};

}  // namespace

// The facts of a gateway with these tunnels, named gre-tun1, gre-tun2 and so on.
static Facts facts_of_tunnels(const std::vector<Tunnel>& tunnels) {
  Facts facts;
  for (const Tunnel& tunnel : tunnels) {
    InterfaceFacts& interface = facts.interfaces["gre-tun" + std::to_string(facts.interfaces.size() + 1)];
    interface.is_tunnel = true;
    interface.description = tunnel.description;
    interface.remote = tunnel.remote;
    interface.address = tunnel.address;
  }
  return facts;
}

constexpr Tunnel kShop = {"shop", "198.51.100.1", "10.255.1.2/30"};
constexpr Tunnel kDepot = {"depot", "198.51.100.2", "10.255.2.2/30"};
constexpr Tunnel kOffice = {"office", "198.51.100.3", "10.255.3.2/30"};

TEST(TunnelMatch, OneThatIsInsertedMovesTheOthers) {
  EXPECT_THAT(match_tunnels(facts_of_tunnels({kShop, kDepot}), facts_of_tunnels({kOffice, kShop, kDepot})),
              ElementsAre(Pair("gre-tun2", "gre-tun1"), Pair("gre-tun3", "gre-tun2")));
}

TEST(TunnelMatch, ChangedSettingsDoNotMakeItAnotherTunnel) {
  const Tunnel renamed = {"store", "198.51.100.1", "10.255.1.2/30"};
  const Tunnel redirected = {"depot", "198.51.100.9", "10.255.9.2/30"};
  EXPECT_THAT(match_tunnels(facts_of_tunnels({kShop, kDepot}), facts_of_tunnels({renamed, redirected})),
              ElementsAre(Pair("gre-tun1", "gre-tun1"), Pair("gre-tun2", "gre-tun2")));
}

TEST(TunnelMatch, OneThatMovesMayChangeASetting) {
  const Tunnel renamed = {"store", "198.51.100.1", "10.255.1.2/30"};
  EXPECT_THAT(match_tunnels(facts_of_tunnels({kShop, kDepot}), facts_of_tunnels({kDepot, renamed})),
              ElementsAre(Pair("gre-tun1", "gre-tun2"), Pair("gre-tun2", "gre-tun1")));
}

TEST(TunnelMatch, OneWithNothingInCommonIsAnotherTunnel) {
  EXPECT_THAT(match_tunnels(facts_of_tunnels({kShop}), facts_of_tunnels({kDepot})), IsEmpty());
}

TEST(TunnelMatch, EqualOnesStayWhereTheyAre) {
  EXPECT_THAT(match_tunnels(facts_of_tunnels({kShop, kShop}), facts_of_tunnels({kDepot, kShop})),
              ElementsAre(Pair("gre-tun2", "gre-tun2")));
}

TEST(MovedTunnels, AreDescribedWithWhatTheirNamesMeanNow) {
  const Facts before = facts_of_tunnels({kShop, kDepot});
  const Facts after = facts_of_tunnels({kDepot, kShop});
  Sentences sentences;
  describe_moved_tunnels(before, after, match_tunnels(before, after), sentences);
  EXPECT_THAT(
      sentences.list(),
      ElementsAre("the tunnel \"depot\" to 198.51.100.2 moves from gre-tun2 to gre-tun1",
                  "the tunnel \"shop\" to 198.51.100.1 moves from gre-tun1 to gre-tun2",
                  "firewall rules and scripts that name gre-tun1 and gre-tun2 now mean other tunnels; "
                  "the tunnels are torn down and set up again"));
}

TEST(MovedTunnels, ANameMayPassToANewTunnel) {
  const Tunnel nameless = {"", "", ""};
  Sentences sentences;
  describe_moved_tunnels(facts_of_tunnels({nameless}), facts_of_tunnels({kDepot}), {}, sentences);
  EXPECT_THAT(
      sentences.list(),
      ElementsAre("the tunnel is removed; it was gre-tun1",
                  "firewall rules and scripts that name gre-tun1 now mean another tunnel; the tunnels "
                  "are torn down and set up again"));
}

TEST(MovedTunnels, WithoutOneThereIsNothingToDescribe) {
  const Facts facts = facts_of_tunnels({kShop});
  Sentences sentences;
  describe_moved_tunnels(facts, facts, match_tunnels(facts, facts), sentences);
  EXPECT_THAT(sentences.list(), IsEmpty());
}
