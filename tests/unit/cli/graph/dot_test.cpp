#include "cli/graph/dot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using Texts = std::vector<std::string>;
using Kind = Node::Kind;
using Internet = Node::Internet;

static std::string dot_of(const Node& diagram) {
  return dot_diagram(diagram, Caption(), {});
}

static Node box(Kind kind, const std::string& name, const std::vector<Node>& children = {}) {
  Node node{kind, name, ""};
  node.children = children;
  return node;
}

static Node uplink(const std::string& name, Internet internet) {
  Node node = box(Kind::kUplink, name);
  node.internet = internet;
  return node;
}

// The edges, with the names of their nodes instead of the numbers.
static Texts edges_of(const std::string& dot) {
  std::istringstream lines(dot);
  std::vector<std::pair<std::string, std::string>> names;
  Texts edges;
  for (std::string line; std::getline(lines, line);) {
    line.erase(0, line.find_first_not_of(' '));
    const std::size_t bold = line.find("<b>");
    if (line[0] == 'n' && bold != std::string::npos && line.find(" [fill") != std::string::npos)
      names.emplace_back(line.substr(0, line.find(' ')), line.substr(bold + 3, line.find("</b>") - bold - 3));
    if (line.find(" -- ") != std::string::npos) edges.push_back(line + " ");
  }
  for (std::string& edge : edges) {
    for (const auto& [number, name] : names) {
      const std::size_t begin = edge.find(number + " ");
      if (begin != std::string::npos) edge.replace(begin, number.size(), name);
    }
    edge.pop_back();
  }
  return edges;
}

TEST(Dot, WhatLeadsOutIsOnTheLeft) {
  const Node gateway =
      box(Kind::kGateway, "gateway", {uplink("wwan0", Internet::kReached), box(Kind::kLan, "eth0")});
  EXPECT_THAT(edges_of(dot_of(gateway)),
              ElementsAre("internet -- wwan0", "wwan0 -- gateway", "gateway -- eth0"));
}

TEST(Dot, ThePreferredUplinkIsThick) {
  const Node gateway = box(Kind::kGateway, "gateway",
                           {uplink("eth0", Internet::kReached), uplink("eth1", Internet::kPreferred)});
  EXPECT_THAT(edges_of(dot_of(gateway)),
              ElementsAre("internet -- eth0", "eth0 -- gateway", "internet -- eth1 [penwidth=4]",
                          "eth1 -- gateway [penwidth=4]"));
  EXPECT_THAT(dot_of(gateway), HasSubstr("preferred uplink"));
}

TEST(Dot, AnUplinkMayBeAVlan) {
  const Node gateway = box(Kind::kGateway, "gateway",
                           {uplink("wwan0", Internet::kReached),
                            box(Kind::kLan, "eth1", {uplink("eth1.7", Internet::kPreferred)})});
  EXPECT_THAT(edges_of(dot_of(gateway)),
              ElementsAre("internet -- bend0 -- wwan0", "wwan0 -- gateway", "internet -- eth1.7 [penwidth=4]",
                          "eth1.7 -- eth1 [penwidth=4]", "eth1 -- gateway [penwidth=4]"));
}

TEST(Dot, APassThroughPortIsBehindTheGateway) {
  Node link = uplink("wwan0", Internet::kReached);
  link.children = {box(Kind::kPassthrough, "eth1", {box(Kind::kTunnel, "gre-tun1")})};
  EXPECT_THAT(edges_of(dot_of(box(Kind::kGateway, "gateway", {link}))),
              ElementsAre("internet -- wwan0", "eth1 -- gre-tun1", "gateway -- eth1", "wwan0 -- gateway"));
}

TEST(Dot, NothingReachesTheInternet) {
  EXPECT_THAT(dot_of(box(Kind::kGateway, "gateway", {box(Kind::kLan, "eth0")})), Not(HasSubstr("internet")));
}

TEST(Dot, TheLegendExplainsWhatIsThere) {
  Node port = box(Kind::kLan, "eth0");
  EXPECT_THAT(dot_of(box(Kind::kGateway, "gateway")), HasSubstr("labelloc=b\n  label=\"\"\n"));
  EXPECT_THAT(dot_of(port), AllOf(HasSubstr("local network"), Not(HasSubstr("tunnel"))));
  port.findings = {{"a-rule", Severity::kError, {}, "bad", {}}};
  EXPECT_THAT(dot_of(port), AllOf(HasSubstr(">error&#160;"), Not(HasSubstr(">warning&#160;"))));
  port.findings[0].severity = Severity::kWarning;
  EXPECT_THAT(dot_of(port), AllOf(HasSubstr(">warning&#160;"), Not(HasSubstr(">error&#160;"))));
}

TEST(Dot, TheCaptionStandsAboveTheBoxes) {
  const std::string dot = dot_diagram(box(Kind::kGateway, "gateway"), {"Shop <7>", "network.json"}, {});
  EXPECT_LT(dot.find("<b>Shop &lt;7&gt;</b>"), dot.find("n0 ["));
  EXPECT_THAT(dot, HasSubstr(">network.json<"));
}

TEST(Dot, TablesStandBelowTheBoxes) {
  const std::string dot =
      dot_diagram(box(Kind::kGateway, "gateway"), Caption(), {{"Leases", {"Address"}, {{"10.0.0.1"}, {""}}}});
  EXPECT_THAT(
      dot, AllOf(HasSubstr("labelloc=b\n  label=<"), HasSubstr("<b>Leases</b>"), HasSubstr("<b>Address</b>"),
                 HasSubstr(">10.0.0.1</td>"), HasSubstr(">&#160;</td></tr></table>")));
}

TEST(Dot, AHeadingIsBoldAndItsItemsAreIndented) {
  static const Json::Value kLocation;
  static constexpr ListKind kLeases = {"Leases", nullptr, {"Address", "Name", "Note"}};
  Node port = box(Kind::kLan, "eth0");
  port.children.push_back(list_node(kLeases, "leases", {}));
  Node& list = port.children[0];
  add_item(list, {"10.0.0.1", "till", "new"}, kLocation);
  add_item(list, {"10.0.0.2", "", ""}, kLocation);
  add_line(list, "and 5 more, not shown", {});
  list.children[0].findings = {{"a-rule", Severity::kError, {}, "bad", {}}};
  const std::string cell = R"(<td align="left" balign="left")";
  EXPECT_THAT(dot_of(port),
              AllOf(HasSubstr("<b>leases</b>"), HasSubstr(R"(<td width="10"></td>)"),
                    HasSubstr(cell + ">10.0.0.1&#160;&#160;&#160;</td>" + cell +
                              ">till&#160;&#160;&#160;</td>" + cell + ">new</td></tr>"),
                    HasSubstr(cell + R"( colspan="3"><font color="#b3131c">error: bad [a-rule&#93;</font>)"),
                    HasSubstr(cell + R"( colspan="3">10.0.0.2</td>)"),
                    HasSubstr(cell + R"( colspan="3">and 5 more, not shown</td>)")));
}

TEST(Dot, NamesWithoutTextAndTextsWithoutName) {
  Node gateway = box(Kind::kGateway, "gateway");
  gateway.children = {{Kind::kAside, "", "and 5 more"}, box(Kind::kLan, "")};
  EXPECT_THAT(dot_of(gateway), AllOf(HasSubstr(">and 5 more</td>"), HasSubstr("label=\"\"]")));
}
