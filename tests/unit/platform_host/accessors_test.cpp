#include "platform/libcmd.h"
#include "platform_test.h"

namespace {

// A configuration with values of every type, numbers at the limits of int, and empty and dotted keys.
class AccessorsTest : public ::testing::Test {
 protected:
  const Json::Value config = json(R"({
    "bool": true, "no": false, "int": 7, "negative": -1, "fraction": 1.5, "string": "text", "empty": "",
    "object": {"bool": false, "deeper": {"int": 8, "": 9}}, "array": [1, {"bool": true}], "null": null,
    "dotted.name": "unreachable", "": {"": "nameless"},
    "min": -2147483648, "max": 2147483647, "below": -2147483649, "above": 2147483648,
    "huge": 18446744073709551615, "1e3": 1e3
  })");
};

}  // namespace

TEST_F(AccessorsTest, ABooleanIsReadByItsType) {
  for (const char* path : {"int", "string", "object", "array", "null", "missing", "fraction"}) {
    for (const bool before : {false, true}) {
      bool value = before;
      EXPECT_FALSE(config_get_bool(config, &value, path)) << path;
      EXPECT_EQ(value, before) << path;
    }
  }
  bool value = false;
  EXPECT_TRUE(config_get_bool(config, &value, "bool"));
  EXPECT_TRUE(value);
  EXPECT_TRUE(config_get_bool(config, &value, "no"));
  EXPECT_FALSE(value);
}

TEST_F(AccessorsTest, AnIntegerIsReadByItsType) {
  for (const char* path : {"bool", "string", "empty", "object", "array", "null", "missing", "fraction"}) {
    int value = 42;
    EXPECT_FALSE(config_get_int(config, &value, path)) << path;
    EXPECT_EQ(value, 42) << path;
  }
  int value = 0;
  EXPECT_TRUE(config_get_int(config, &value, "int"));
  EXPECT_EQ(value, 7);
  EXPECT_TRUE(config_get_int(config, &value, "negative"));
  EXPECT_EQ(value, -1);
}

TEST_F(AccessorsTest, AnIntegerMustFit32Bits) {
  int value = 42;
  for (const char* path : {"below", "above", "huge"}) {
    EXPECT_FALSE(config_get_int(config, &value, path)) << path;
    EXPECT_EQ(value, 42) << path;
  }
  EXPECT_TRUE(config_get_int(config, &value, "min"));
  EXPECT_EQ(value, -2147483647 - 1);
  EXPECT_TRUE(config_get_int(config, &value, "max"));
  EXPECT_EQ(value, 2147483647);
}

TEST_F(AccessorsTest, AStringIsReadByItsType) {
  for (const char* path : {"bool", "int", "object", "array", "null", "missing", "fraction"}) {
    std::string value = "before";
    EXPECT_FALSE(config_get_string(config, value, path)) << path;
    EXPECT_EQ(value, "before") << path;
  }
  std::string value = "before";
  EXPECT_TRUE(config_get_string(config, value, "string"));
  EXPECT_EQ(value, "text");
  EXPECT_TRUE(config_get_string(config, value, "empty"));
  EXPECT_EQ(value, "");
}

TEST_F(AccessorsTest, AnObjectIsReadByItsType) {
  for (const char* path : {"bool", "int", "string", "array", "null", "missing"}) {
    Json::Value value("before");
    EXPECT_FALSE(config_get_object(config, value, path)) << path;
    EXPECT_EQ(value, Json::Value("before")) << path;
  }
  Json::Value value;
  EXPECT_TRUE(config_get_object(config, value, "object.deeper"));
  EXPECT_EQ(value, json(R"({"int": 8, "": 9})"));
}

TEST_F(AccessorsTest, AnArrayIsReadByItsType) {
  for (const char* path : {"bool", "int", "string", "object", "null", "missing"}) {
    Json::Value value("before");
    EXPECT_FALSE(config_get_array(config, value, path)) << path;
    EXPECT_EQ(value, Json::Value("before")) << path;
  }
  Json::Value value;
  EXPECT_TRUE(config_get_array(config, value, "array"));
  EXPECT_EQ(value, json(R"([1, {"bool": true}])"));
}

TEST_F(AccessorsTest, TheObjectThatIsReadMayTakeTheResult) {
  Json::Value value = config;
  EXPECT_TRUE(config_get_object(value, value, "object"));
  EXPECT_TRUE(config_get_object(value, value, "deeper"));
  EXPECT_EQ(value, json(R"({"int": 8, "": 9})"));
  value = config;
  EXPECT_TRUE(config_get_array(value, value, "array"));
  EXPECT_EQ(value, json(R"([1, {"bool": true}])"));
}

TEST_F(AccessorsTest, APathLeadsThroughObjectsOnly) {
  int value = 0;
  EXPECT_TRUE(config_get_int(config, &value, "object.deeper.int"));
  EXPECT_EQ(value, 8);
  bool flag = true;
  EXPECT_FALSE(config_get_bool(config, &flag, "array.1.bool"));
  EXPECT_FALSE(config_get_bool(config, &flag, "array.bool"));
  EXPECT_FALSE(config_get_bool(config, &flag, "string.bool"));
  EXPECT_FALSE(config_get_bool(config, &flag, "null.bool"));
  EXPECT_FALSE(config_get_bool(config, &flag, "object.missing.bool"));
  EXPECT_FALSE(config_get_bool(config, &flag, "Object.bool"));
  EXPECT_TRUE(config_get_bool(config, &flag, "object.bool"));
  EXPECT_FALSE(flag);
}

TEST_F(AccessorsTest, EveryDotSeparates) {
  std::string text;
  EXPECT_FALSE(config_get_string(config, text, "dotted.name"));
  EXPECT_TRUE(config_get_string(config, text, "."));
  EXPECT_EQ(text, "nameless");
  Json::Value value;
  EXPECT_TRUE(config_get_object(config, value, ""));
  int number = 0;
  EXPECT_TRUE(config_get_int(config, &number, "object.deeper."));
  EXPECT_EQ(number, 9);
  EXPECT_FALSE(config_get_int(config, &number, ".object.deeper.int"));
  EXPECT_FALSE(config_get_int(config, &number, "object..deeper.int"));
  EXPECT_FALSE(config_get_object(config, value, "object."));
}

TEST_F(AccessorsTest, AskingWhatIsNoObjectIsAMiss) {
  for (const char* text : {"null", "true", "7", R"("bool")", "[true]", "[]"}) {
    SCOPED_TRACE(text);
    const Json::Value other = json(text);
    bool flag = false;
    int number = 0;
    std::string string;
    Json::Value value;
    EXPECT_FALSE(config_get_bool(other, &flag, "bool"));
    EXPECT_FALSE(config_get_int(other, &number, "int"));
    EXPECT_FALSE(config_get_string(other, string, ""));
    EXPECT_FALSE(config_get_object(other, value, ""));
    EXPECT_FALSE(config_get_array(other, value, "0"));
    EXPECT_FALSE(config_path_exists(other, Json::nullValue, ""));
  }
}

TEST_F(AccessorsTest, APathExistsWithItsTypeOnly) {
  EXPECT_TRUE(config_path_exists(config, Json::booleanValue, "no"));
  EXPECT_TRUE(config_path_exists(config, Json::stringValue, "empty"));
  EXPECT_TRUE(config_path_exists(config, Json::objectValue, "object.deeper"));
  EXPECT_TRUE(config_path_exists(config, Json::arrayValue, "array"));
  EXPECT_TRUE(config_path_exists(config, Json::nullValue, "null"));
  EXPECT_FALSE(config_path_exists(config, Json::objectValue, "array"));
  EXPECT_FALSE(config_path_exists(config, Json::objectValue, "string"));
  EXPECT_FALSE(config_path_exists(config, Json::nullValue, "missing"));
  EXPECT_FALSE(config_path_exists(config, Json::objectValue, "object.missing"));
}

TEST_F(AccessorsTest, AskingCreatesNothing) {
  Json::Value asked = config;
  bool flag = false;
  Json::Value value;
  config_get_bool(asked, &flag, "missing.too");
  config_get_array(asked, value, "object.missing");
  EXPECT_EQ(asked, config);
}
