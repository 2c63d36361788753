#include "config/lookup.h"

#include "lanfab_test.h"

namespace {

class RulesTest : public LanfabTest {};

}  // namespace

TEST_F(RulesTest, TraceLineIsTheNameAndOnlyInATracedRun) {
  NetworkContext ctx = context_of("{}");
  EXPECT_EQ(printed_by([&] { print_trace(&ctx, "apply"); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { print_trace(&ctx, "apply"); }), "apply\n");
}

TEST_F(RulesTest, AFlagIsTrueOnlyWhenItIsABooleanAndTrue) {
  EXPECT_TRUE(is_true(json(R"({"a": {"b": true}})"), "a.b"));
  EXPECT_FALSE(is_true(json(R"({"a": {"b": false}})"), "a.b"));
  EXPECT_FALSE(is_true(json(R"({"a": {"b": 1}})"), "a.b"));
  EXPECT_FALSE(is_true(json(R"({"a": {"b": "true"}})"), "a.b"));
  EXPECT_FALSE(is_true(json(R"({"a": true})"), "a.b"));
  EXPECT_FALSE(is_true(json("{}"), "a.b"));
  EXPECT_FALSE(is_true(Json::Value("text"), "a.b"));
}

TEST_F(RulesTest, AStringOrAnIntegerIsThereOnlyWithItsType) {
  const Json::Value object = json(R"({"a": {"text": "", "number": 0, "large": 4294967296}})");
  EXPECT_EQ(string_at(object, "a.text"), "");
  EXPECT_EQ(string_at(object, "a.number"), std::nullopt);
  EXPECT_EQ(string_at(object, "text"), std::nullopt);
  EXPECT_EQ(number_at(object, "a.number"), 0);
  EXPECT_EQ(number_at(object, "a.large"), std::nullopt);
  EXPECT_EQ(number_at(object, "a.text"), std::nullopt);
}

TEST_F(RulesTest, AnObjectWithoutEnableIsDisabled) {
  EXPECT_TRUE(is_enabled(json(R"({"enable": true})")));
  EXPECT_FALSE(is_enabled(json(R"({"enable": false})")));
  EXPECT_FALSE(is_enabled(json("{}")));
  EXPECT_FALSE(is_enabled(json("[]")));
  EXPECT_FALSE(is_enabled(Json::Value()));
}

TEST_F(RulesTest, AStaticRouteBelongsToTheInterfaceThatItNamesExactly) {
  EXPECT_TRUE(is_static_route_of(json(R"({"enable": true, "interface": "eth0"})"), "eth0"));
  EXPECT_FALSE(is_static_route_of(json(R"({"enable": true, "interface": "eth0.100"})"), "eth0"));
  EXPECT_FALSE(is_static_route_of(json(R"({"enable": false, "interface": "eth0"})"), "eth0"));
  EXPECT_FALSE(is_static_route_of(json(R"({"interface": "eth0"})"), "eth0"));
  EXPECT_FALSE(is_static_route_of(json(R"({"enable": true})"), "eth0"));
}

TEST_F(RulesTest, TheShortestAddressHasSevenCharacters) {
  EXPECT_TRUE(looks_like_address("1.1.1.1"));
  EXPECT_FALSE(looks_like_address("1.1.11"));
  EXPECT_FALSE(looks_like_address(""));
}

TEST_F(RulesTest, EveryValueButAListAndAnObjectHasAText) {
  struct Case {
    const char* value;
    const char* text;
  };
  for (const Case& c : {Case{R"("eth0")", "eth0"}, Case{R"("")", ""}, Case{"80", "80"}, Case{"-1", "-1"},
                        Case{"1.5", "1.5"}, Case{"true", "true"}, Case{"false", "false"}, Case{"null", ""}}) {
    EXPECT_TRUE(has_text(json(c.value))) << c.value;
    EXPECT_EQ(text_of(json(c.value)), c.text) << c.value;
  }
  for (const char* value : {"{}", "[]", R"(["eth0"])", R"({"name": "eth0"})"}) {
    EXPECT_FALSE(has_text(json(value))) << value;
    EXPECT_EQ(text_of(json(value)), "") << value;
  }
}

TEST_F(RulesTest, AMissingOrMistypedArrayIsEmpty) {
  EXPECT_EQ(array_at(json(R"({"a": {"b": [1, 2]}})"), "a.b").size(), 2U);
  EXPECT_EQ(array_at(json(R"({"a": {"b": {"c": 1}}})"), "a.b").size(), 0U);
  EXPECT_EQ(array_at(json(R"({"a": {"b": "text"}})"), "a.b").size(), 0U);
  EXPECT_EQ(array_at(json("{}"), "a.b").size(), 0U);
}

TEST_F(RulesTest, ANameServerIsLongEnoughForAnAddress) {
  EXPECT_EQ(name_server_of("9.9.9.9"), "9.9.9.9");
  EXPECT_EQ(name_server_of(12345678), "12345678");
  EXPECT_EQ(name_server_of("9.9.9."), "");
  EXPECT_EQ(name_server_of(Json::Value(Json::arrayValue)), "");
}
