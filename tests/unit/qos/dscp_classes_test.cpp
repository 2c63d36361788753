#include "qos/dscp_classes.h"

#include "lanfab_test.h"

namespace {

class DscpClassesTest : public LanfabTest {};

}  // namespace

TEST_F(DscpClassesTest, TheTableHoldsTheTwentyClasses) {
  const std::map<std::string, int> table{
      {"CS1", 32},   {"AF11", 40},  {"AF12", 48},  {"AF13", 56},  {"CS2", 64},   {"AF21", 72}, {"AF22", 80},
      {"AF23", 88},  {"CS3", 96},   {"AF31", 104}, {"AF32", 112}, {"AF33", 120}, {"CS4", 128}, {"AF41", 136},
      {"AF42", 144}, {"AF43", 152}, {"CS5", 160},  {"EF", 184},   {"CS6", 192},  {"CS7", 224}};
  EXPECT_EQ(dscp_class_table(), table);
  EXPECT_EQ(dscp_class_table().size(), 20U);
}

TEST_F(DscpClassesTest, EachCallOfTheTableIsAFreshOne) {
  std::map<std::string, int> table = dscp_class_table();
  table["EF"] = 0;
  table["af11"] = 0;
  EXPECT_EQ(dscp_class_table().at("EF"), 184);
  EXPECT_EQ(dscp_class_table().count("af11"), 0U);
}

TEST_F(DscpClassesTest, ALookUpNeverHasAnEffect) {
  for (const char* config : {
           "{}",
           R"({"qos": "text"})",
           R"({"qos": {}})",
           R"({"qos": {"enable": false, "policy": [{"traffic_filter": {"dscp": ["EF"]}}]}})",
           R"({"qos": {"enable": "true", "policy": [{"traffic_filter": {"dscp": ["EF"]}}]}})",
           R"({"qos": {"enable": true}})",
           R"({"qos": {"enable": true, "policy": []}})",
           R"({"qos": {"enable": true, "policy": {"traffic_filter": {"dscp": ["EF"]}}}})",
           R"({"qos": {"enable": true, "policy": ["text"]}})",
           R"({"qos": {"enable": true, "policy": [null]}})",
           R"({"qos": {"enable": true, "policy": [{}]}})",
           R"({"qos": {"enable": true, "policy": [{"traffic_filter": {"dscp": []}}]}})",
           R"({"qos": {"enable": true, "policy": [{"traffic_filter": {"dscp": "EF"}}]}})",
           R"({"qos": {"enable": true, "policy": [
               {"traffic_filter": {"dscp": ["EF", "af11", "", 5, null]}}]}})",
           R"({"qos": {"enable": true, "policy": [{}, {"traffic_filter": {"dscp": ["EF"]}}]}})",
       }) {
    NetworkContext ctx = context_of(config);
    ctx.trace = true;
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(qos_lookup_dscp_classes(&ctx), 0) << config; }), "") << config;
    EXPECT_EQ(ctx.config, json(config)) << config;
    EXPECT_THAT(platform().log, IsEmpty()) << config;
    EXPECT_THAT(platform().calls, IsEmpty()) << config;
  }
}
