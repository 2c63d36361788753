#include "libcmd/text_policy.h"

#include "platform_test.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TextPolicyTest : public PlatformTest {};

// Returns "path: reason" of each rejected string.
static std::vector<std::string> refused(const std::string& text) {
  std::vector<std::string> lines;
  for (const RefusedText& found : find_refused_texts(json(text)))
    lines.push_back(found.path + ": " + found.reason);
  return lines;
}

// Returns the reason why the string at "a" is rejected.
static std::vector<std::string> refused_bytes(const std::string& bytes) {
  return refused("{\"a\": \"" + bytes + "\"}");
}

TEST_F(TextPolicyTest, OrdinaryTextsAreAllowed) {
  EXPECT_THAT(refused(R"({"a": ["192.168.1.1", "", "Grüße, 你好 😀", "tab\there", "semi;colon `y` | z"],
                          "with space": {"b;c": 7, "d": null, "e": true}})"),
              IsEmpty());
}

TEST_F(TextPolicyTest, AControlCharacterIsRefusedEverywhere) {
  EXPECT_THAT(refused(R"({"a": "x\ny"})"), ElementsAre("a: control character U+000A"));
  EXPECT_THAT(refused(R"({"a": "x\u0000y"})"), ElementsAre("a: control character U+0000"));
  EXPECT_THAT(refused(R"({"a": "\u001f"})"), ElementsAre("a: control character U+001F"));
  EXPECT_THAT(refused(R"({"a": "\u007f"})"), ElementsAre("a: control character U+007F"));
  EXPECT_THAT(refused(R"({"a": {"b": [1, {"c": "\r"}]}})"),
              ElementsAre("a.b[1].c: control character U+000D"));
}

TEST_F(TextPolicyTest, SoAreTheControlCharactersBeyondAscii) {
  EXPECT_THAT(refused_bytes("\xc2\x80"), ElementsAre("a: control character U+0080"));
  EXPECT_THAT(refused_bytes("x\xc2\x85y"), ElementsAre("a: control character U+0085"));
  EXPECT_THAT(refused_bytes("\xc2\x9f"), ElementsAre("a: control character U+009F"));
}

TEST_F(TextPolicyTest, AKeyIsATextToo) {
  EXPECT_THAT(refused("{\"a\": {\"b\\nc\": 1}}"),
              ElementsAre("a.\"b\\nc\": in the key: control character U+000A"));
  EXPECT_THAT(refused("{\"b\xff\": 1}"), ElementsAre("\"b\\ufffd\": in the key: not valid UTF-8"));
}

TEST_F(TextPolicyTest, InvalidUtf8IsRefusedEverywhere) {
  for (const char* bytes : {"\x80", "\xc0\x80", "\xc1\xbf", "\xc3", "\xc3(", "\xe0\x9f\xbf", "\xe2\x82",
                            "\xe2(\xa1", "\xed\xa0\x80", "\xed\xbf\xbf", "\xf0\x8f\xbf\xbf", "\xf0\x90\x80",
                            "\xf4\x90\x80\x80", "\xf5\x80\x80\x80", "\xff", "abc\xfe"}) {
    EXPECT_THAT(refused_bytes(bytes), ElementsAre("a: not valid UTF-8")) << testing::PrintToString(bytes);
  }
}

TEST_F(TextPolicyTest, TheFirstAndTheLastCharacterOfEachLengthAreAllowed) {
  for (const char* bytes : {"\xc2\xa0", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80",
                            "\xef\xbf\xbf", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_THAT(refused_bytes(bytes), IsEmpty()) << testing::PrintToString(bytes);
  }
}

TEST_F(TextPolicyTest, HalfOfASurrogatePairIsRefused) {
  EXPECT_THAT(refused(R"({"a": "\udc00"})"), ElementsAre("a: not valid UTF-8"));
}

TEST_F(TextPolicyTest, ATextThatReachesAShellHoldsNothingSpecialToIt) {
  for (const char c : std::string(" |&;<>()$`'*?[]#~=%{}!^")) {
    const std::string text =
        "{\"static_routes\": [{}, {\"gateway\": \"10.0.0.1" + std::string(1, c) + "\"}]}";
    EXPECT_THAT(refused(text), ElementsAre(std::string("static_routes[1].gateway: the character '") + c +
                                           "' is special to the shell"));
  }
  EXPECT_THAT(refused(R"({"static_routes": [{"interface": "eth0\t"}]})"),
              ElementsAre("static_routes[0].interface: the character '\t' is special to the shell"));
  EXPECT_THAT(refused(R"({"static_routes": [{"interface": "a\\b"}]})"),
              ElementsAre("static_routes[0].interface: the character '\\' is special to the shell"));
  EXPECT_THAT(refused(R"({"tunnels": {"gre": [{"incoming_gre_gateway": "\"x"}]}})"),
              ElementsAre("tunnels.gre[0].incoming_gre_gateway: the character '\"' is special to the shell"));
}

TEST_F(TextPolicyTest, AnOddButHarmlessTextMayReachAShell) {
  EXPECT_THAT(refused(R"({"static_routes": [{"interface": "nosuch0@é", "gateway": "-1,2:3/4+5_6"}]})"),
              IsEmpty());
}

TEST_F(TextPolicyTest, OnlyTheTextsThatReachAShellAreJudgedLikeThat) {
  EXPECT_THAT(refused(R"({
    "static_routes": {"gateway": "a;b"},
    "gateway": "a;b",
    "interface": "`x`",
    "tunnels": {"gre": [{"name": "a;b", "networks": [{"incoming_gre_gateway": ";"}]}]}
  })"),
              IsEmpty());
}

TEST_F(TextPolicyTest, TheRefusedTextsComeInTheOrderOfTheFile) {
  EXPECT_THAT(refused("{\"z\": \"\\n\", \"a\": \"\\r\", \"m\": \"\\b\"}"),
              ElementsAre("z: control character U+000A", "a: control character U+000D",
                          "m: control character U+0008"));
}

TEST_F(TextPolicyTest, ARefusedTextPointsToItsValue) {
  const Json::Value root = json("{\"a\": \"\\n\"}");
  const std::vector<RefusedText> found = find_refused_texts(root);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].value, &root["a"]);
}
