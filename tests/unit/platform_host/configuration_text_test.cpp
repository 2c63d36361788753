#include "libcmd/configuration_text.h"

#include <cstdio>
#include <memory>

#include "platform_test.h"

// Returns the location and the message of the first error.
static std::string mistake_in(const std::string& text) {
  Json::Value root;
  const std::optional<ParseError> parse_error = parse_configuration(text, root);
  if (!parse_error) return "";
  return std::to_string(parse_error->position.line) + ":" + std::to_string(parse_error->position.column) +
         " " + parse_error->reason;
}

// Returns the error of reading a file.
static std::string reading(const char* path, std::string& text) {
  std::FILE* file = std::fopen(path, "re");
  const std::string failure = read_configuration(file, text).value_or("");
  std::fclose(file);
  return failure;
}

TEST(ConfigurationTextTest, AFileIsReadToItsEnd) {
  const std::string content(100'000, 'x');
  put_file("/run/text", content);
  std::string text;
  EXPECT_EQ(reading("/run/text", text), "");
  EXPECT_EQ(text, content);
}

TEST(ConfigurationTextTest, AFileThatIsTooLargeIsRefused) {
  put_file("/run/text", std::string(4'000'000, 'x'));
  std::string text;
  EXPECT_EQ(reading("/run/text", text), "");
  put_file("/run/text", std::string(4'000'001, 'x'));
  text.clear();
  EXPECT_EQ(reading("/run/text", text), "the configuration is larger than 4 MB");
}

TEST(ConfigurationTextTest, ADirectoryCannotBeRead) {
  std::string text;
  EXPECT_EQ(reading("/run", text), "Is a directory");
}

TEST(ConfigurationTextTest, AnObjectIsAConfiguration) {
  Json::Value root;
  EXPECT_FALSE(parse_configuration("{\"dns\": {}}\n", root));
  EXPECT_EQ(root, json(R"({"dns": {}})"));
}

TEST(ConfigurationTextTest, AMistakeHasItsPlace) {
  EXPECT_THAT(mistake_in("{\n  \"a\": 1,\n  \"b\" 2\n}"), StartsWith("3:7 "));
  EXPECT_EQ(mistake_in("[]"), "1:1 the configuration is not an object");
  EXPECT_THAT(mistake_in(std::string(100'000, '[')), StartsWith("1:1 "));
}

TEST(ConfigurationTextTest, NothingFollowsTheConfiguration) {
  using namespace std::string_literals;
  for (const std::string& text : {"{}\n \0"s, "{}\n \0{\"a\": 1}"s, "{}\n \0\0x"s})
    EXPECT_EQ(mistake_in(text), "2:2 a NUL character after the JSON value");
  for (const std::string& text : {"{\"a\": 1\0}"s, "\0{}"s, "{}x\0"s})
    EXPECT_NE(mistake_in(text), "") << text;
}

TEST(ConfigurationTextTest, PlacesCountFromOneInLinesAndBytes) {
  const std::string text = "a\n\xc3\xa4x\n";
  const auto place = [&](std::ptrdiff_t offset) {
    const Position position = position_of(text, offset);
    return std::pair(position.line, position.column);
  };
  EXPECT_EQ(place(0), std::pair(1, 1));
  EXPECT_EQ(place(1), std::pair(1, 2));
  EXPECT_EQ(place(2), std::pair(2, 1));
  EXPECT_EQ(place(4), std::pair(2, 3));
  EXPECT_EQ(place(6), std::pair(3, 1));
}
