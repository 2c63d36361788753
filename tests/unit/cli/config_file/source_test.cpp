#include "cli/config_file/source.h"

#include <gtest/gtest.h>

#include "libcmd/configuration_text.h"
#include "test_files.h"

constexpr char kFile[] = "/run/network.json";

// The line and the column of an offset, such as "2:8".
static std::string location(const std::string& text, std::ptrdiff_t offset) {
  const Position position = position_of(text, offset);
  return std::to_string(position.line) + ":" + std::to_string(position.column);
}

// The error of loading a file with this text; "" on success.
static std::string failure_of(const std::string& text) {
  put_file(kFile, text);
  Source source;
  const auto failure = load_source(kFile, source);
  return failure ? failure->message : "";
}

TEST(Source, EachValueKnowsItsLocation) {
  put_file(kFile, "{\n  \"wired\": {\n    \"eth0\": {\"enable\": true}\n  }\n}\n");
  Source source;
  ASSERT_FALSE(load_source(kFile, source));
  EXPECT_EQ(source.name, kFile);
  const Json::Value& port = source.root["wired"]["eth0"];
  EXPECT_EQ(location(source.text, source.root.getOffsetStart()), "1:1");
  EXPECT_EQ(location(source.text, source.root["wired"].getOffsetStart()), "2:12");
  EXPECT_EQ(location(source.text, port["enable"].getOffsetStart()), "3:24");
  EXPECT_EQ(location(source.text, port["enable"].getOffsetLimit()), "3:28");
}

TEST(Source, AByteOrderMarkIsNotPartOfTheText) {
  put_file(kFile, "\xef\xbb\xbf{\"a\": 1}");
  Source source;
  ASSERT_FALSE(load_source(kFile, source));
  EXPECT_EQ(location(source.text, source.root["a"].getOffsetStart()), "1:7");
}

TEST(Source, ASecondByteOrderMarkIsRefused) {
  EXPECT_EQ(failure_of("\xef\xbb\xbf\xef\xbb\xbf{\"a\": 1}").substr(0, 30), "/run/network.json:1:1: error: ");
}

TEST(Source, AFileOfManyValuesIsRefused) {
  const auto list_of = [](const std::string& element, int count) {
    std::string text = "{\"a\": [" + element;
    while (--count > 0)
      text += "," + element;
    return text + "]}";
  };
  const std::string refusal = std::string(kFile) + ": too many values, which would take too much memory";
  EXPECT_EQ(failure_of(list_of("1", 1'000'000)), "");
  EXPECT_EQ(failure_of(list_of("1", 1'500'000)), refusal);
  EXPECT_EQ(failure_of(list_of("[]", 300'000)), "");
  EXPECT_EQ(failure_of(list_of("[]", 600'000)), refusal);
  EXPECT_EQ(failure_of(list_of("[1]", 600'000)), refusal);
  // Commas in a string do not separate values.
  EXPECT_EQ(failure_of("{\"a\": \"\\\"" + std::string(3'000'000, ',') + "\"}"), "");
  EXPECT_NE(failure_of("{\"a\": \"" + std::string(3'000'000, ',')), refusal);
}

TEST(Source, AFileThatCannotBeReadIsReportedWithItsName) {
  Source source;
  const auto missing = load_source("/run/missing.json", source);
  ASSERT_TRUE(missing);
  EXPECT_EQ(missing->message, "/run/missing.json: No such file or directory");
  EXPECT_FALSE(missing->syntax);
  EXPECT_EQ(load_source("/run", source)->message, "/run: Is a directory");
}

TEST(Source, AnErrorOfSyntaxIsReportedWithItsLocation) {
  EXPECT_EQ(failure_of("{\n  \"ä\": ?\n}\n"),
            "/run/network.json:2:8: error: a value is expected, not '?' [syntax]");
  EXPECT_EQ(failure_of("{\"a\": 1,\n\"a\": 2}"),
            "/run/network.json:2:1: error: \"a\" is already a key of this object [syntax]\n"
            "/run/network.json:1:2: note: the first one");
}

TEST(Source, AfterAnErrorOfSyntaxTheTextIsThereButNoTree) {
  put_file(kFile, "{\"a\": 1,}");
  Source source;
  const auto failure = load_source(kFile, source);
  ASSERT_TRUE(failure && failure->syntax);
  EXPECT_EQ(failure->syntax->range.begin, 7);
  EXPECT_EQ(source.text, "{\"a\": 1,}");
  EXPECT_TRUE(source.root.isNull());
}

TEST(Source, TheKeyOfAValueIsFoundInFrontOfIt) {
  for (const char* text : {R"({"key":1})", R"({"key" : 1})", "{\"key\"\n:\n\t1}",
                           R"({"other": ":", "key": 1})", R"({"other": "\"key\":", "key": "1"})"}) {
    put_file(kFile, text);
    Source source;
    ASSERT_FALSE(load_source(kFile, source)) << text;
    const TextRange range = key_range(source.text, source.root["key"]);
    EXPECT_EQ(range.begin, static_cast<std::ptrdiff_t>(source.text.rfind("\"key\""))) << text;
    EXPECT_EQ(range.end, range.begin + 5) << text;
  }
}

TEST(Source, AKeyMayHaveQuotesOfItsOwn) {
  put_file(kFile, R"({"a \"b\" c": 1})");
  Source source;
  ASSERT_FALSE(load_source(kFile, source));
  const TextRange range = key_range(source.text, source.root["a \"b\" c"]);
  EXPECT_EQ(range.begin, 1);
  EXPECT_EQ(range.end, 12);
}
