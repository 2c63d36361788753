#include "cli/base/json.h"

#include <gtest/gtest.h>

TEST(JsonTest, OneValueIsParsed) {
  Json::Value value;
  EXPECT_TRUE(parse_json("{\"a\": [1]}", value));
  EXPECT_EQ(value["a"][0].asInt(), 1);
  EXPECT_FALSE(parse_json("{\"a\": ", value));
}

TEST(JsonTest, TheOutputOfAProgramIsCaptured) {
  Json::Value value;
  EXPECT_EQ(capture_json({"echo", "[1]"}, value), std::nullopt);
  EXPECT_EQ(value[0].asInt(), 1);
  EXPECT_EQ(capture_json({"echo", " "}, value), std::nullopt);
  EXPECT_TRUE(value.isNull()) << "no output is null";
}

TEST(JsonTest, AnythingElseIsAnError) {
  Json::Value value;
  EXPECT_EQ(capture_json({"echo", "text"}, value), "echo: what it prints is no JSON");
  EXPECT_EQ(capture_json({"no-such-program"}, value), "no-such-program: No such file or directory");
}
