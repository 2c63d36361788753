#include "cli/base/secrets.h"

#include <gtest/gtest.h>

static std::string masked(const std::string& text) {
  return SecretMask().masked(text);
}

TEST(SecretMaskTest, HidesTheKeysOfAUnit) {
  EXPECT_EQ(masked("[WireGuard]\nPrivateKey = aaa=\nFirewallMark = 1\n[WireGuardPeer]\nPresharedKey=bbb="),
            "[WireGuard]\nPrivateKey = (hidden key 1)\nFirewallMark = 1\n[WireGuardPeer]\n"
            "PresharedKey=(hidden key 2)");
}

TEST(SecretMaskTest, NumbersKeysByWhatTheyAre) {
  SecretMask mask;
  EXPECT_EQ(mask.masked("PrivateKey = a\n"), "PrivateKey = (hidden key 1)\n");
  EXPECT_EQ(mask.masked("PrivateKey = b\n"), "PrivateKey = (hidden key 2)\n");
  EXPECT_EQ(mask.masked("PrivateKey = a\n"), "PrivateKey = (hidden key 1)\n");
}

TEST(SecretMaskTest, LeavesWhatIsNoKey) {
  for (const char* text : {"PublicKey = a\n", "PresharedKeyFile = /a\n", "PrivateKey\n", "PrivateKey",
                           "MyPrivateKey = a", "PrivateKey = \n", "PrivateKey =", ""})
    EXPECT_EQ(masked(text), text);
}

TEST(SecretMaskTest, HidesAValueThatIsContinued) {
  EXPECT_EQ(masked("PrivateKey = \\\n# PublicKey = x\n;\na\\\nb\nNext = 1\n"),
            "PrivateKey = (hidden key 1)\nNext = 1\n");
  EXPECT_EQ(masked("PrivateKey = a\\\n\nNext = 1\n"), "PrivateKey = (hidden key 1)\nNext = 1\n");
  EXPECT_EQ(masked("PrivateKey = a\\"), "PrivateKey = (hidden key 1)");
  EXPECT_EQ(masked("PrivateKey = a\\\n#"), "PrivateKey = (hidden key 1)");
}

TEST(SecretMaskTest, HidesKeysInJson) {
  EXPECT_EQ(masked("{\"preshared_key\" : \"a\"}\n"), "{\"preshared_key\" : (hidden key 1)\n");
}

TEST(SecretMaskTest, HidesAFileThatIsAKey) {
  SecretMask mask;
  File key = {"/var/data/qel/.wg/wg0-private.key", 0600, "a\n"};
  File same = {"/var/data/qel/.wg/wg1-private.key", 0600, "a\n"};
  File empty = {"/var/data/qel/.wg/wg2-private.key", 0600, "\n"};
  File without_end = {"/var/data/qel/.wg/wg3-private.key", 0600, "a"};
  File nothing = {"/var/data/qel/.wg/wg4-private.key", 0600, ""};
  File other = {"/var/run/a", 0644, "a\n"};
  for (File* file : {&key, &same, &empty, &without_end, &nothing, &other})
    mask.hide_in(*file);
  EXPECT_EQ(key.content, "(hidden key 1)\n");
  EXPECT_EQ(same.content, "(hidden key 1)\n");
  EXPECT_EQ(empty.content, "\n");
  EXPECT_EQ(without_end.content, "(hidden key 1)");
  EXPECT_EQ(nothing.content, "");
  EXPECT_EQ(other.content, "a\n");
}

static std::string blanked(std::string text) {
  blank_secrets(text);
  return text;
}

TEST(BlankSecrets, HidesKeysInATextThatIsNotJson) {
  struct {
    const char* text;
    const char* expected;
  } const cases[] = {
      {R"({"private_key": "a+b/c=", "ipv4": "192.168.1.1"})",
       R"({"private_key": "*****=", "ipv4": "192.168.1.1"})"},
      {"{\"preshared_key: \"ab\n\"a\": 1}", "{\"preshared_key: \"**\n\"a\": 1}"},
      {"PrivateKey\n  = “ab”\na", "PrivateKey\n  = “**”\na"},
      {"{\"private_key\": [\"a\",\n\"b\"], \"c\"}", "{\"private_key\": [\"*\",\n\"*\"], \"c\"}"},
      {"{\"private_key\": a}, b", "{\"private_key\": *}, b"},
      {"private_key", "private_key"},
      {"{\"public_key\": \"a\"}", "{\"public_key\": \"a\"}"},
  };
  for (const auto& [text, expected] : cases)
    EXPECT_EQ(blanked(text), expected);
}
