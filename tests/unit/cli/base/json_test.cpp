#include "cli/base/json.h"

#include <gtest/gtest.h>

TEST(JsonTest, OneValueIsParsed) {
  Json::Value value;
  EXPECT_TRUE(parse_json("{\"a\": [1]}", value));
  EXPECT_EQ(value["a"][0].asInt(), 1);
  EXPECT_FALSE(parse_json("{\"a\": ", value));
}

// The texts of elements can be assembled into the text of a list.
TEST(JsonTest, AnElementIsWrittenAsInTheList) {
  Json::Value element;
  ASSERT_TRUE(parse_json("{\"name\": \"a\\nb\", \"list\": [{\"a\": [1, {}]}, []]}", element));
  Json::Value list;
  list["list"].append(element);
  const std::string text = Json::writeString(Json::StreamWriterBuilder(), list);
  EXPECT_EQ(text, "{\n\t\"list\" : \n\t[\n" + element_text(element, 2) + "\n\t]\n}");
  EXPECT_EQ(element_text(1, 0), "1");
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
  EXPECT_EQ(capture_json({"echo", "text"}, value), "echo: invalid JSON output");
  EXPECT_EQ(capture_json({"no-such-program"}, value), "no-such-program: No such file or directory");
}
