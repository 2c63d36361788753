#include "cli/lint/likely_value.h"

#include <gtest/gtest.h>

#include "test_files.h"

// The value that was probably meant, as JSON; "nothing" if there is none.
static std::string meant(const std::string& value, const std::string& schema) {
  const auto found = meant_value(json("[" + value + "]")[0], json(schema));
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return found ? Json::writeString(writer, *found) : "nothing";
}

constexpr char kBoolean[] = R"({"type": "boolean"})";
constexpr char kPrefix[] = R"({"type": "integer", "minimum": 1, "maximum": 32})";
constexpr char kString[] = R"({"type": "string"})";
constexpr char kNames[] = R"({"type": "array", "items": {"type": "string"}})";
constexpr char kPort[] = R"({"type": "object", "properties": {"enable": {"type": "boolean"}}})";

TEST(LikelyValue, WordsAndNumbersMayBeBooleans) {
  EXPECT_EQ(meant(R"("true")", kBoolean), "true");
  EXPECT_EQ(meant(R"(" Off ")", kBoolean), "false");
  EXPECT_EQ(meant("1", kBoolean), "true");
  EXPECT_EQ(meant("[false]", kBoolean), "false");
  EXPECT_EQ(meant(R"("maybe")", kBoolean), "nothing");
  EXPECT_EQ(meant("null", kBoolean), "nothing");
}

TEST(LikelyValue, StringsAndFractionsMayBeIntegers) {
  EXPECT_EQ(meant(R"("24")", kPrefix), "24");
  EXPECT_EQ(meant(R"("/24 ")", kPrefix), "24");
  EXPECT_EQ(meant(R"("255.255.255.0")", kPrefix), "24");
  EXPECT_EQ(meant("24.5", kPrefix), "25");
  EXPECT_EQ(meant("[24]", kPrefix), "24");
  EXPECT_EQ(meant(R"("64")", kPrefix), "nothing");
  EXPECT_EQ(meant(R"("255.0.255.0")", kPrefix), "nothing");
  EXPECT_EQ(meant(R"("12345678901")", R"({"type": "integer"})"), "nothing");
  EXPECT_EQ(meant("1e300", kPrefix), "nothing");
  EXPECT_EQ(meant("true", kPrefix), "nothing");
  EXPECT_EQ(meant(R"("")", kPrefix), "nothing");
}

TEST(LikelyValue, WhatHasATextMayBeAString) {
  EXPECT_EQ(meant("7", kString), R"("7")");
  EXPECT_EQ(meant(R"(["10.0.0.0/8", "172.16.0.0/12"])", kString), R"("10.0.0.0/8,172.16.0.0/12")");
  EXPECT_EQ(meant("[7]", kString), "nothing");
  EXPECT_EQ(meant("[]", kString), "nothing");
  EXPECT_EQ(meant("null", kString), "nothing");
  EXPECT_EQ(meant("{}", kString), "nothing");
}

TEST(LikelyValue, AStringMayBeAListAndAnElementTheList) {
  EXPECT_EQ(meant(R"("eth0, eth1;wlan0")", kNames), R"(["eth0","eth1","wlan0"])");
  EXPECT_EQ(meant(R"("")", kNames), R"([""])");
  EXPECT_EQ(meant("{}", kNames), "nothing");
  EXPECT_EQ(meant("{}", R"({"type": "array", "items": {"type": "object"}})"), "[{}]");
  EXPECT_EQ(meant("{}", R"({"type": "array"})"), "nothing");
}

TEST(LikelyValue, AnElementMayBeTheObjectAndFalseADisabledOne) {
  EXPECT_EQ(meant(R"([{"enable": true}])", kPort), R"({"enable":true})");
  EXPECT_EQ(meant("false", kPort), R"({"enable":false})");
  EXPECT_EQ(meant("true", kPort), "nothing");
  EXPECT_EQ(meant("false", R"({"type": "object", "properties": {}})"), "nothing");
  EXPECT_EQ(meant("[7]", kPort), "nothing");
}

TEST(LikelyValue, OtherwiseItIsAnExample) {
  const Json::Value schema = json(R"({"type": "object", "properties": {
    "mode": {"type": "string", "examples": ["router"]},
    "routes": {"type": "array", "items": {"type": "integer", "examples": [7]}}}})");
  EXPECT_EQ(likely_value(Json::Value(), schema), json(R"({"mode": "router", "routes": [7]})"));
  EXPECT_EQ(likely_value(Json::Value("5"), schema["properties"]["routes"]["items"]), Json::Value(5));
}

TEST(LikelyValue, AWordIsTheNearestOrTheOnlySimilarOne) {
  const Json::Value modes = json(R"(["router", "pass-through-auto", "pass-through"])");
  EXPECT_EQ(meant_word("Router ", modes), "router");
  EXPECT_EQ(meant_word("passthrough", modes), "pass-through");
  EXPECT_EQ(meant_word("AUTO", modes), "pass-through-auto");
  EXPECT_EQ(meant_word("pass-through-static", modes), "pass-through");
  EXPECT_EQ(meant_word("through", modes), std::nullopt);
  EXPECT_EQ(meant_word("lan", modes), std::nullopt);
  EXPECT_EQ(meant_word("", modes), std::nullopt);
  constexpr char kProtocol[] = R"({"type": "string", "enum": ["static", "dhcp_client"]})";
  EXPECT_EQ(meant(R"("dhcp")", kProtocol), R"("dhcp_client")");
  EXPECT_EQ(meant(R"("other")", kProtocol), "nothing");
  EXPECT_EQ(meant("7", kProtocol), "nothing");
}
