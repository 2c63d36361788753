#include "cli/config_file/schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Each value that the schema does not allow, and the reason.
static std::vector<std::string> violations_of(const std::string& text) {
  const Json::Value root = json(text);
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  std::vector<std::string> violations;
  for_each_violation(root, [&](const Violation& violation) {
    constexpr const char* kKinds[] = {" is not of type ", " is out of range of ", " is an unknown "};
    violations.push_back(Json::writeString(writer, *violation.value) +
                         kKinds[static_cast<int>(violation.kind)] + (*violation.schema)["type"].asString());
  });
  return violations;
}

TEST(Schema, EveryReferenceIsReplaced) {
  const Json::Value* port = member_schema(*member_schema(configuration_schema(), "wired"), "eth0");
  ASSERT_NE(port, nullptr);
  EXPECT_EQ((*port)["type"], "object");
  EXPECT_EQ(configuration_schema().toStyledString().find("$ref"), std::string::npos);
}

TEST(Schema, MembersAndElementsHaveSchemas) {
  const Json::Value* routes = member_schema(configuration_schema(), "static_routes");
  ASSERT_NE(routes, nullptr);
  EXPECT_EQ((*routes)["type"], "array");
  ASSERT_NE(element_schema(*routes), nullptr);
  EXPECT_EQ((*element_schema(*routes))["type"], "object");
  EXPECT_EQ(member_schema(configuration_schema(), "missing"), nullptr);
  EXPECT_EQ(element_schema(configuration_schema()), nullptr);
}

TEST(Schema, AConfigurationMayBeEmptyOrHaveUnknownKeys) {
  EXPECT_THAT(violations_of("{}"), IsEmpty());
  EXPECT_THAT(violations_of(R"({"unknown": [1], "wired": {"eth7": 3}})"), IsEmpty());
}

TEST(Schema, AViolationIsTheInnermostValue) {
  EXPECT_THAT(violations_of(R"({"wired": {"eth0": {"enable": "yes"}}})"),
              ElementsAre("\"yes\" is not of type boolean"));
  EXPECT_THAT(violations_of(R"({"wired": {"eth0": []}})"), ElementsAre("[] is not of type object"));
  EXPECT_THAT(violations_of(R"({"static_routes": [{"enable": true}, {"enable": 1}, 7]})"),
              ElementsAre("1 is not of type boolean", "7 is not of type object"));
}

TEST(Schema, AWordIsAKnownOne) {
  EXPECT_THAT(
      violations_of(R"({"dns": {"source": "isp"}, "wired": {"eth0": {"network": {"mode": "router"}}}})"),
      IsEmpty());
  EXPECT_THAT(violations_of(R"({"dns": {"source": ""}, "wired": {"eth0": {"network": {"mode": "Router"}}}})"),
              ElementsAre("\"\" is an unknown string", "\"Router\" is an unknown string"));
}

TEST(Schema, EveryViolationIsFound) {
  EXPECT_THAT(violations_of(R"({"static_routes": [{"enable": 1, "interface": 2}]})"),
              ElementsAre("1 is not of type boolean", "2 is not of type string"));
}

TEST(Schema, AnIntegerHas32Bits) {
  const auto with_netmask = [](const std::string& netmask) {
    return R"({"wired": {"eth0": {"network": {"metric": )" + netmask + "}}}}";
  };
  EXPECT_THAT(violations_of(with_netmask("1")), IsEmpty());
  EXPECT_THAT(violations_of(with_netmask("4294967296")), ElementsAre("4294967296 is not of type integer"));
  EXPECT_THAT(violations_of(with_netmask("1.5")), ElementsAre("1.5 is not of type integer"));
}

TEST(Schema, AnIntegerMayHaveARange) {
  const auto with_netmask = [](const std::string& netmask) {
    return R"({"wired": {"eth0": {"network": {"netmask": )" + netmask + "}}}}";
  };
  EXPECT_THAT(violations_of(with_netmask("32")), IsEmpty());
  EXPECT_THAT(violations_of(with_netmask("33")), ElementsAre("33 is out of range of integer"));
  EXPECT_THAT(violations_of(with_netmask("-1")), ElementsAre("-1 is out of range of integer"));
}

TEST(Schema, AListOfNamesTakesWhatHasAString) {
  EXPECT_THAT(violations_of(R"({"dns": {"static": ["192.0.2.1", 1, true, null, [], {}]}})"),
              ElementsAre("[] is not of type string", "{} is not of type string"));
}
