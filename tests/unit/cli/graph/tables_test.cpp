#include "cli/graph/tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Texts = std::vector<std::string>;

static constexpr ListKind kLeases = {"Leases", "Interface", {"Address", "MAC address", "Name"}};
static constexpr ListKind kNames = {"Names", nullptr, {"Name"}};

// A gateway with a port that has this number of leases.
static Node diagram_with(int leases) {
  static const Json::Value kLocation;
  Node gateway{Node::Kind::kGateway, "gateway", ""};
  gateway.children.push_back({Node::Kind::kLan, "eth0", "port"});
  Node list = list_node(kLeases, "leases", {});
  for (int i = 0; i < leases; ++i)
    add_item(list, {std::to_string(i), "mac", ""}, kLocation);
  gateway.children[0].children.push_back(std::move(list));
  add_line(gateway.children[0], "MTU 1400", {});
  return gateway;
}

static std::vector<Texts> rows_of(const std::vector<Table>& tables, const std::string& title) {
  for (const Table& table : tables)
    if (table.title == title) return table.rows;
  return {};
}

TEST(Tables, EveryListHasOne) {
  const auto tables = tables_of(diagram_with(2), TableScope::kEveryList);
  EXPECT_THAT(rows_of(tables, "Leases"), ElementsAre(Texts{"eth0", "0", "mac"}, Texts{"eth0", "1", "mac"}));
  EXPECT_THAT(rows_of(tables, "Interfaces and tunnels"), ElementsAre(Texts{"eth0", "port", "MTU 1400"}));
}

TEST(Tables, ShortListsNeedNone) {
  EXPECT_THAT(tables_of(diagram_with(8), TableScope::kShortenedLists), IsEmpty());
  const auto tables = tables_of(diagram_with(9), TableScope::kShortenedLists);
  ASSERT_THAT(tables, SizeIs(1));
  EXPECT_THAT(tables[0].rows, SizeIs(9));
}

TEST(Tables, AColumnThatIsEmptyIsLeftOut) {
  EXPECT_THAT(tables_of(diagram_with(9), TableScope::kShortenedLists)[0].columns,
              ElementsAre("Interface", "Address", "MAC address"));
}

TEST(Tables, ListsOfOneKindShareATable) {
  Node diagram = diagram_with(1);
  diagram.children.push_back(diagram.children[0]);
  diagram.children[1].name = "eth1";
  EXPECT_THAT(rows_of(tables_of(diagram, TableScope::kEveryList), "Leases"),
              ElementsAre(Texts{"eth0", "0", "mac"}, Texts{"eth1", "0", "mac"}));
}

TEST(Tables, AListMayBelongToNoBox) {
  static const Json::Value kLocation;
  Node gateway{Node::Kind::kGateway, "gateway", ""};
  gateway.children.push_back({Node::Kind::kNames, "DNS", ""});
  gateway.children[0].list = &kNames;
  add_item(gateway.children[0], {"till"}, kLocation);
  const auto tables = tables_of(gateway, TableScope::kEveryList);
  ASSERT_THAT(tables, SizeIs(1)) << "the box with the names is not an interface";
  EXPECT_EQ(tables[0].title, "Names");
  EXPECT_THAT(tables[0].columns, ElementsAre("Name"));
}

TEST(Tables, FindingsAreInTheLastColumn) {
  Node diagram = diagram_with(9);
  diagram.children[0].children[0].children[3].findings = {{"a-rule", Severity::kError, {}, "bad", {}},
                                                          {"b-rule", Severity::kWarning, {}, "odd", {}}};
  const auto table = tables_of(diagram, TableScope::kShortenedLists)[0];
  EXPECT_EQ(table.columns.back(), "Findings");
  EXPECT_EQ(table.rows[3].back(), "error: bad [a-rule]; warning: odd [b-rule]");
  EXPECT_EQ(table.rows[4].back(), "");
}

TEST(Tables, ABoxHasTheFindingsOfItsLines) {
  Node diagram = diagram_with(1);
  const Finding finding{"a-rule", Severity::kError, {}, "bad", {}};
  diagram.children[0].children[0].findings = {finding};              // of the list
  diagram.children[0].children[0].children[0].findings = {finding};  // of the lease, which has its own row
  diagram.children[0].children[1].findings = {finding};              // of the MTU
  EXPECT_THAT(rows_of(tables_of(diagram, TableScope::kEveryList), "Interfaces and tunnels"),
              ElementsAre(Texts{"eth0", "port", "MTU 1400", "error: bad [a-rule]; error: bad [a-rule]"}));
}

TEST(Tables, ManyFindingsOfANodeHaveOne) {
  Node diagram = diagram_with(1);
  diagram.children[0].findings.assign(9, {"a-rule", Severity::kError, {}, "bad", {}});
  const auto tables = tables_of(diagram, TableScope::kShortenedLists);
  ASSERT_THAT(rows_of(tables, "Findings"), SizeIs(9));
  EXPECT_EQ(tables[0].rows[0], (Texts{"eth0", "error: bad [a-rule]"}));
}
