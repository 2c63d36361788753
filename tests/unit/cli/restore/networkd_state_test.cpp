#include "cli/restore/networkd_state.h"

#include <gtest/gtest.h>

#include "test_files.h"

static AddressState address(const std::string& link, const std::string& text) {
  AddressState state;
  state.link = link;
  state.text = text;
  return state;
}

static RouteState route(const std::string& link, const std::string& destination, const std::string& gateway,
                        const std::string& metric) {
  RouteState state;
  state.links = {link};
  state.destination = destination;
  state.gateway = gateway;
  state.metric = metric;
  state.table = "254";
  return state;
}

static RuleState rule(const std::string& priority, const std::string& table) {
  RuleState state;
  state.priority = priority;
  state.table = table;
  return state;
}

TEST(NetworkdState, HasWhatItHasConfiguredItself) {
  const NetworkdState state(json(R"({
    "Interfaces": [{
      "Name": "eth1",
      "Addresses": [
        {"Family": 2, "Address": [192, 168, 2, 1], "PrefixLength": 24, "ConfigSource": "static"},
        {"Family": 2, "Address": [10, 64, 1, 1], "PrefixLength": 30, "ConfigSource": "foreign"},
        {"Family": 10, "Address": [254, 128], "PrefixLength": 64, "ConfigSource": "static"},
        {"Family": 2, "Address": [10, 0, [], "1"], "PrefixLength": 8, "ConfigSource": "static"}],
      "Routes": [
        {"Family": 2, "Destination": [10, 20, 0, 0], "DestinationPrefixLength": 16, "Gateway":
         [192, 168, 2, 2], "Priority": 50, "Table": 254, "ConfigSource": "static"},
        {"Family": 2, "Destination": [0, 0, 0, 0], "DestinationPrefixLength": 0, "Gateway": [192, 168, 2, 3],
         "Priority": 0, "Table": 254, "ConfigSource": "DHCPv4"},
        {"Family": 2, "Destination": [10, 11, 0, 5], "DestinationPrefixLength": 32, "Priority": 0,
         "Table": 254, "ConfigSource": "static"},
        {"Family": 2, "Destination": [10, 12, 0, 5], "DestinationPrefixLength": 32, "Priority": 0,
         "Table": 254, "ConfigSource": "foreign"}]}],
    "RoutingPolicyRules": [
      {"Family": 2, "Priority": 100, "Table": 308, "ConfigSource": "static"},
      {"Family": 2, "Priority": 101, "Table": 308, "ConfigSource": "foreign"}]})"));
  EXPECT_TRUE(state.is_known());
  EXPECT_TRUE(state.has(address("eth1", "192.168.2.1/24")));
  EXPECT_FALSE(state.has(address("eth0", "192.168.2.1/24")));
  EXPECT_FALSE(state.has(address("eth1", "10.64.1.1/30")));
  EXPECT_TRUE(state.has(route("eth1", "10.20.0.0/16", "192.168.2.2", "50")));
  EXPECT_FALSE(state.has(route("eth1", "10.20.0.0/16", "192.168.2.2", "")));
  EXPECT_TRUE(state.has(route("eth1", "default", "192.168.2.3", "")));
  EXPECT_TRUE(state.has(route("eth1", "10.11.0.5", "", "")));
  EXPECT_FALSE(state.has(route("eth1", "10.12.0.5", "", "")));
  EXPECT_TRUE(state.has(rule("100", "308")));
  EXPECT_FALSE(state.has(rule("101", "308")));
}

TEST(NetworkdState, IsUnknownWithoutAnAnswer) {
  for (const char* text : {"null", "[]", "7"})
    EXPECT_FALSE(NetworkdState(json(text)).is_known()) << text;
  for (const char* text : {"{}", R"({"Interfaces": 7})", R"({"Interfaces": [7, {"Routes": [7]}]})"})
    EXPECT_FALSE(NetworkdState(json(text)).has(address("eth0", "192.168.1.1/24"))) << text;
}

TEST(NetworkdState, IsSettledWhenNoLinkIsBeingConfigured) {
  const auto link = [](const std::string& state, const std::string& carrier) {
    return json(R"({"Interfaces": [{"AdministrativeState": "configured"}, {"AdministrativeState": ")" +
                state + R"(", "CarrierState": ")" + carrier + R"("}]})");
  };
  for (const char* state : {"configured", "unmanaged", "failed", "linger"})
    EXPECT_TRUE(is_settled(link(state, "carrier"), true)) << state;
  for (const char* state : {"pending", "initialized", "configuring", "anything"})
    EXPECT_FALSE(is_settled(link(state, "carrier"), false)) << state;
  for (const char* carrier : {"off", "no-carrier"}) {
    EXPECT_FALSE(is_settled(link("configuring", carrier), true)) << carrier;
    EXPECT_TRUE(is_settled(link("configuring", carrier), false)) << carrier;
  }
}
