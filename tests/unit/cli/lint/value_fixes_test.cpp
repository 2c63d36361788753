#include "cli/lint/value_fixes.h"

#include <gtest/gtest.h>

#include "cli/config_file/edit.h"
#include "test_files.h"

// The JSON text of the allowed value that was meant, or "nothing".
static std::string fixed_value(const std::string& value, const std::string& schema) {
  return allowed_literal(json("[" + value + "]")[0], json(schema)).value_or("nothing");
}

TEST(ValueFixes, AStringThatIsANumber) {
  const std::string number = R"({"type": "integer", "minimum": -5, "maximum": 4094})";
  for (const char* sound : {"24", "0", "-5", "4094"}) {
    EXPECT_EQ(fixed_value('"' + std::string(sound) + '"', number), sound);
    EXPECT_EQ(fixed_value("\" " + std::string(sound) + "  \"", number), sound);
  }
  for (const char* other :
       {"\"\"", "\"-\"", "\"024\"", "\"+24\"", "\"24.0\"", "\"0x18\"", "\"/24\"", "\"24 25\"", "\"4095\"",
        "\"-6\"", "\"99999999999\"", "24.5", "true", "null", "[24]"})
    EXPECT_EQ(fixed_value(other, number), "nothing") << other;
  EXPECT_EQ(fixed_value("\"2147483647\"", R"({"type": "integer"})"), "2147483647");
  EXPECT_EQ(fixed_value("\"2147483648\"", R"({"type": "integer"})"), "nothing");
}

TEST(ValueFixes, ANetmaskThatIsAPrefixLength) {
  const std::string bits = R"({"type": "integer", "minimum": 1, "maximum": 32, "unit": "bits"})";
  EXPECT_EQ(fixed_value("\"255.255.255.0\"", bits), "24");
  EXPECT_EQ(fixed_value("\"255.255.255.255\"", bits), "32");
  EXPECT_EQ(fixed_value("\"/24\"", bits), "24");
  EXPECT_EQ(fixed_value("\"24\"", bits), "24");
  for (const char* other :
       {"\"0.0.0.0\"", "\"255.0.255.0\"", "\"0.0.0.255\"", "\"33\"", "\"//24\"", "\"-1\""})
    EXPECT_EQ(fixed_value(other, bits), "nothing") << other;
}

TEST(ValueFixes, AWordThatIsTrueOrFalse) {
  const std::string boolean = R"({"type": "boolean"})";
  for (const char* yes : {"\"true\"", "\"True\"", "\"YES\"", "\" on \"", "1", "\"1\""})
    EXPECT_EQ(fixed_value(yes, boolean), "true") << yes;
  for (const char* no : {"\"false\"", "\"No\"", "\"off\"", "0", "\"0\""})
    EXPECT_EQ(fixed_value(no, boolean), "false") << no;
  for (const char* other : {"2", "0.5", "\"\"", "\"maybe\"", "null", "[]"})
    EXPECT_EQ(fixed_value(other, boolean), "nothing") << other;
}

TEST(ValueFixes, ANumberThatMayBeAString) {
  EXPECT_EQ(fixed_value("3600", R"({"type": "string", "default": "7200"})"), "\"3600\"");
  EXPECT_EQ(fixed_value("3600.5", R"({"type": "string", "default": "7200"})"), "nothing");
  EXPECT_EQ(fixed_value("5", R"({"type": "string"})"), "nothing");
  EXPECT_EQ(fixed_value("5", R"({"type": "string", "default": "isp"})"), "nothing");
  EXPECT_EQ(fixed_value("5", R"({"type": "array"})"), "nothing");
}

TEST(ValueFixes, AWordOfTheSchema) {
  const std::string word = R"({"type": "string", "enum": ["static", "dhcp_client"]})";
  for (const char* misspelled : {"\"DHCP_CLIENT\"", "\"dhcp-client\"", "\" dhcp_client\""})
    EXPECT_EQ(fixed_value(misspelled, word), "\"dhcp_client\"") << misspelled;
  for (const char* other : {"\"dhcp\"", "\"\"", "1", "true"})
    EXPECT_EQ(fixed_value(other, word), "nothing") << other;
}

// The text after the prefix length is moved from "ip" to "bits".
static std::string moved(const std::string& text) {
  return apply_edits(text, move_prefix_length(text, json(text), "ip", "bits").fix);
}

TEST(ValueFixes, APrefixLengthBehindAnAddressIsMoved) {
  EXPECT_EQ(moved(R"({"ip": "10.0.0.1/24"})"), R"({"ip": "10.0.0.1", "bits": 24})");
  EXPECT_EQ(moved(R"({"ip": "10.0.0.1 / 255.255.0.0 "})"), R"({"ip": "10.0.0.1", "bits": 16})");
  EXPECT_EQ(moved(R"({"bits": 24, "ip": "10.0.0.1/24"})"), R"({"bits": 24, "ip": "10.0.0.1"})");
  EXPECT_EQ(moved(R"({"bits": "24", "ip": "10.0.0.1/24"})"), R"({"bits": "24", "ip": "10.0.0.1"})");
}

TEST(ValueFixes, APrefixLengthStaysWhereTheRestIsNotClear) {
  for (const char* text :
       {R"({"ip": "10.0.0.1"})", R"({"ip": "10.0.0/24"})", R"({"ip": "10.0.0.1/33"})",
        R"({"ip": "10.0.0.1/"})", R"({"ip": "10.0.0.1/24", "bits": 16})", R"({"ip": 24})",
        R"({"ip": "10.0.0.1/24", "bits": true})", R"({"ip": "10.0.0.1/24", "bitss": 24})", R"({"bits": 24})"})
    EXPECT_EQ(moved(text), text);
}
