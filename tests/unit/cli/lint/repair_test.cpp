#include "cli/lint/repair.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "libcmd/configuration_text.h"

static Source source_of(std::string text) {
  Source source{"network.json", std::move(text), {}};
  EXPECT_FALSE(parse_configuration(source.text, source.root).has_value()) << source.text;
  return source;
}

static std::string compact(const Json::Value& value) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return Json::writeString(writer, value);
}

// The configuration as it was probably meant. Checks that the end of the repair restores the original.
static std::string repaired(const std::string& text, Severity least = Severity::kError) {
  Source source = source_of(text);
  const Json::Value before = source.root;
  std::string meant;
  {
    const Repair repair(source, least);
    meant = compact(source.root);
  }
  EXPECT_EQ(source.root, before) << compact(source.root);
  return meant;
}

TEST(Repair, AGoodConfigurationStays) {
  const std::string text = R"({"wired":{"eth0":{"enable":true,"network":{"mode":"router"}}}})";
  EXPECT_EQ(repaired(text), text);
}

TEST(Repair, AValueOfAnotherTypeIsReplacedByALikelyOne) {
  EXPECT_EQ(repaired(R"({"wired": {"eth0": {"enable": "yes", "network": {"netmask": "24", "ipv4": 7}}}})"),
            R"({"wired":{"eth0":{"enable":true,"network":{"ipv4":"7","mode":"router","netmask":24}}}})");
  EXPECT_EQ(repaired(R"({"wired": {"bridge": {"interfaces": "eth0, eth1"}}})"),
            R"({"wired":{"bridge":{"interfaces":["eth0","eth1"]}}})");
  EXPECT_EQ(repaired(R"({"static_routes": [{"enable": null, "metric": {}}]})"),
            R"({"static_routes":[{"enable":true,"metric":50}]})");
}

TEST(Repair, AMisspeltKeyIsRenamed) {
  EXPECT_EQ(repaired(R"({"wired": {"eth0": {"eanble": true, "netwrok": {"netmask": "24"}}}})"),
            R"({"wired":{"eth0":{"eanble":null,"enable":true,)"
            R"("network":{"mode":"router","netmask":24},"netwrok":null}}})");
}

TEST(Repair, AKeyInTheWrongObjectMovesIntoTheRightOne) {
  EXPECT_EQ(repaired(R"({"wired": {"eth0": {"mtu": 1400, "network": {}}}})"),
            R"({"wired":{"eth0":{"mtu":null,"network":{"advanced":{"mtu":1400}}}}})");
  EXPECT_EQ(repaired(R"({"wired": {"eth0": {"network": {"dhcp": {"metric": 5}}}}})"),
            R"({"wired":{"eth0":{"network":{"dhcp":{"metric":null},"metric":5}}}})");
}

TEST(Repair, AKeyThatManyObjectsKnowMovesToTheOneBesideThatLacksIt) {
  EXPECT_EQ(repaired(R"({"wired": {"eth1": {"network": {"mode": "router", "enable": true}}}})"),
            R"({"wired":{"eth1":{"enable":true,"network":{"enable":null,"mode":"router"}}}})");
  EXPECT_EQ(repaired(R"({"wired": {"enable": true, "eth1": {"network": {"mode": "router"}}}})"),
            R"({"wired":{"enable":null,"eth1":{"enable":true,"network":{"mode":"router"}}}})");
}

TEST(Repair, AKeyMovesOnlyWhereThereIsRoom) {
  EXPECT_EQ(repaired(R"({"wired": {"eth0": {"mode": "x", "network": {"mode": "router"}}}})"),
            R"({"wired":{"eth0":{"mode":"x","network":{"mode":"router"}}}})");
  EXPECT_EQ(
      repaired(
          R"({"wired": {"eth0": {"mtu": 1400, "network": {"advanced": {"mtu_override": true, "mtu": 9}}}}})"),
      R"({"wired":{"eth0":{"mtu":1400,"network":{"advanced":{"mtu":9,"mtu_override":true}}}}})");
}

TEST(Repair, UnderAnotherKeyAValueMayBeAnyThatIsMissing) {
  EXPECT_EQ(
      repaired(R"({"wired": {"eth0": {"network": {"advanced": {"vlan": {"networks": [{"id": 5}]}}}}}})"),
      R"({"wired":{"eth0":{"network":{"advanced":{"vlan":{"networks":[{"id":5,"vid":5}]}}}}}})");
  EXPECT_EQ(repaired(R"({"hostnames": [{"name": "printer", "address": "192.168.1.9"}]})"),
            R"({"hostnames":[{"address":"192.168.1.9","ipv4":"192.168.1.9","name":"printer"}]})");
  EXPECT_EQ(repaired(R"({"hostnames": [{"name": "printer", "address": "fd00::9"}]})"),
            R"({"hostnames":[{"address":"fd00::9","ipv4":"fd00::9","name":"printer"}]})");
  EXPECT_EQ(repaired(R"({"hostnames": [{"name": "printer", "address": "upstairs"}]})"),
            R"({"hostnames":[{"address":"upstairs","name":"printer"}]})");
  EXPECT_EQ(repaired(R"({"wired": {"eth0": {"settings": {"mode": "router"}}}})"),
            R"({"wired":{"eth0":{"network":{"mode":"router"},"settings":{"mode":"router"}}}})");
}

TEST(Repair, TheSettingsOfABridgeHaveAnyName) {
  const std::string text =
      R"({"wired":{"bridge":{"enable":true,"interfaces":["veth0"],"primary_interface":"veth0"},)"
      R"("veth0":{"network":{"netmask":"24"}}}})";
  EXPECT_EQ(repaired(text), text);
}

TEST(Repair, AnEnabledPortGetsWhatItCannotDoWithout) {
  EXPECT_EQ(repaired(R"({"wired": {"eth0": {"enable": true, "network": {"netmask": 24}}}})"),
            R"({"wired":{"eth0":{"enable":true,"network":{"mode":"router","netmask":24}}}})");
  EXPECT_NE(repaired(R"({"wired": {"eth0": {"enable": true}}})").find("\"mode\":\"router\""),
            std::string::npos);
  const std::string disabled = R"({"wired":{"eth0":{"enable":false},"eth1":{"enable":false,"network":{}}}})";
  EXPECT_EQ(repaired(disabled), disabled);
}

TEST(Repair, ANumberOutOfRangeIsAWarning) {
  const std::string text = R"({"static_routes":[{"enable":true,"netmask":33}]})";
  EXPECT_EQ(repaired(text), text);
  EXPECT_EQ(repaired(text, Severity::kWarning), R"({"static_routes":[{"enable":true,"netmask":16}]})");
}

TEST(Repair, AlsoWhatIsAWarning) {
  const std::string text =
      R"({"dns":{"source":"isp","statics":["9.9.9.9"]},"wired":{"bridge":{"interfaces":["eth0"]}}})";
  EXPECT_EQ(repaired(text), text);
  EXPECT_EQ(repaired(text, Severity::kWarning),
            R"({"dns":{"source":"isp","static":["9.9.9.9"],"statics":null},)"
            R"("wired":{"bridge":{"enable":true,"interfaces":["eth0"]}}})");
  EXPECT_EQ(repaired(R"({"wireless": {"cell": {"apn": "internet"}}, "firewall": {"router": 1}})",
                     Severity::kWarning),
            R"({"firewall":{"general":{"router":1},"router":null},"wireless":{"cell":{"apn":"internet"}}})");
}

TEST(Repair, AnObjectThatIsEnabledIsAmongTheReplaced) {
  Source source = source_of(R"({"wired": {"bridge": {"interfaces": ["eth0"]}}})");
  const std::ptrdiff_t offset = source.root["wired"]["bridge"].getOffsetStart();
  EXPECT_TRUE(Repair(source, Severity::kWarning).replaced().contains(offset));
  EXPECT_FALSE(Repair(source, Severity::kError).replaced().contains(offset));
}

TEST(Repair, ARefusedStringIsReplaced) {
  EXPECT_EQ(repaired("{\"dns\": {\"static\": [\"9.9.9.9\\u0001\"]}}"), R"({"dns":{"static":["9.9.9.9"]}})");
}

TEST(Repair, WhatIsMadeIsFoundWhereItsOriginIs) {
  Source source = source_of(R"({"wired": {"bridge": {"interfaces": "eth0,eth1"}}})");
  const std::ptrdiff_t offset = source.root["wired"]["bridge"]["interfaces"].getOffsetStart();
  const Repair repair(source, Severity::kError);
  EXPECT_TRUE(repair.replaced().contains(offset));
  EXPECT_FALSE(repair.replaced().contains(offset + 1));
  EXPECT_EQ(source.root["wired"]["bridge"]["interfaces"][1].getOffsetStart(), offset);
}

TEST(Repair, OnlySoManyValuesAreRepaired) {
  std::string list = "7";
  for (int i = 1; i < 5000; ++i)
    list += ",7";
  Source source = source_of("{\"hostnames\":[" + list + "]}");
  const Repair repair(source, Severity::kError);
  EXPECT_TRUE(source.root["hostnames"][1999].isObject());
  EXPECT_FALSE(source.root["hostnames"][2000].isObject());
}
