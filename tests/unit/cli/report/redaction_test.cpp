#include "cli/report/redaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::HasSubstr;
using ::testing::Not;

// A private key, its public key, and another private key.
constexpr char kPrivate[] = "dwdtCnMYpX08FsFyUbJmRd9ML4frwJkqsXf7pR25LCo=";
constexpr char kPublic[] = "hSDwCYkwp1R0i33ctD73Wg2/Og0mOBr066SpjqqbTmo=";
constexpr char kOther[] = "XasIfmJKikt54X+Lg4AO5m87sSkmGLb9HC+LJ/+I4Os=";

static std::string quoted(const std::string& text) {
  return "\"" + text + "\"";
}

TEST(RedactionTest, KnowsNamesOfSecrets) {
  for (const char* name :
       {"PrivateKey", "preshared_key", "--password", "WIFI_PASSWD", "wpa-passphrase", "client_secret",
        "API_TOKEN", "apiKey", "psk", "wpa_psk", "Authorization", "sim_pin", "PUK"})
    EXPECT_TRUE(is_sensitive_name(name)) << name;
  for (const char* name : {"", "key", "PublicKey", "keep_alive", "name", "ping"})
    EXPECT_FALSE(is_sensitive_name(name)) << name;
}

TEST(RedactionTest, HidesNothingWhereThereIsNothing) {
  Redaction redaction;
  redaction.learn_text("token = \n");
  redaction.learn_configuration(R"({"token": 1, "public_key": 2, "password": ""})");
  EXPECT_EQ(redaction.masked("token = \n = 1\n"), "token = \n = 1\n");
}

TEST(RedactionTest, HidesWhatFollowsTheNameOfASecret) {
  EXPECT_EQ(Redaction().masked("PrivateKey = a\nName = b\nEnvironment=\"API_TOKEN=c d\"\n"),
            "PrivateKey = (hidden key 1)\nName = b\nEnvironment=\"API_TOKEN=(hidden key 2)\n");
}

TEST(RedactionTest, HidesAKnownSecretEverywhere) {
  Redaction redaction;
  redaction.learn_text("password = 'hunter2', \n");
  redaction.learn_configuration(R"({"a": [{"pass_phrase": {"x": ["correct horse"]}}], "psk": "short"})");
  EXPECT_EQ(redaction.masked("said hunter2 and hunter2, correct horse, short\n"),
            "said (hidden key 2) and (hidden key 2), (hidden key 1), short\n");
}

TEST(RedactionTest, HidesTheLongerOneOfTwoSecrets) {
  Redaction redaction;
  redaction.learn_text("token: secret\ntoken: secret12\n");
  EXPECT_EQ(redaction.masked("secret12"), "(hidden key 1)");
}

TEST(RedactionTest, HidesWhatLooksLikeAKey) {
  const std::string key = kOther;
  EXPECT_EQ(Redaction().masked("peer " + key + " said\n"), "peer (hidden key 1) said\n");
  EXPECT_EQ(Redaction().masked(quoted(key)), quoted("(hidden key 1)"));
  // The beginning of the key cannot be determined.
  EXPECT_EQ(Redaction().masked("x" + key), "(hidden key 1)");
  for (const std::string& text : {key.substr(1), key.substr(0, 43), key.substr(0, 20) + " " + key.substr(20)})
    EXPECT_EQ(Redaction().masked(text), text);
}

TEST(RedactionTest, HidesArgumentsOfOptions) {
  EXPECT_EQ(Redaction().masked("run --password hunter2 -v\nget 'x' Bearer abc\n --token"),
            "run --password (hidden key 1) -v\nget 'x' Bearer (hidden key 2)\n --token");
}

TEST(RedactionTest, HidesThePasswordOfAUrl) {
  EXPECT_EQ(Redaction().masked("proxy=http://anna:hunter2@[fd00::1]/a:b@c\n"),
            "proxy=http://anna:(hidden key 1)@[fd00::1]/a:b@c\n");
  for (const char* url : {"http://host:80/a@b", "http://anna@host:80/", "anna:b@c", "http://:80", "http://"})
    EXPECT_EQ(Redaction().masked(url), url);
}

TEST(RedactionTest, HidesASecretKeyThatIsCalledPublic) {
  Redaction redaction;
  redaction.learn_text(std::string("PublicKey = ") + kOther + "\nPresharedKey = " + kOther + "\n");
  EXPECT_EQ(redaction.masked(kOther), "(hidden key 1)");
}

TEST(RedactionTest, ShowsPublicKeys) {
  Redaction redaction;
  redaction.learn_configuration("{\"public_key\": " + quoted(kOther) + ", \"enable\": true}");
  redaction.learn_text(std::string("PublicKey = ") + kPublic + "\n");
  const std::string text = std::string(kOther) + " " + kPublic + "\n";
  EXPECT_EQ(redaction.masked(text), text);
}

TEST(RedactionTest, SaysToWhichPublicKeyAHiddenOneBelongs) {
  Redaction redaction;
  EXPECT_EQ(redaction.public_keys(), "");
  redaction.learn_private_key(std::string(kPrivate) + "\n");
  redaction.learn_private_key("no key at all\n");
  EXPECT_EQ(redaction.masked(std::string("PrivateKey = ") + kPrivate + "\n" + kPublic + "\n"),
            std::string("PrivateKey = (hidden key 1)\n") + kPublic + "\n");
  EXPECT_EQ(redaction.public_keys(), std::string("(hidden key 1) is the private key of ") + kPublic + "\n");
}

TEST(RedactionTest, FindsPrivateKeysInUnits) {
  Redaction redaction;
  redaction.learn_text(std::string("[WireGuard]\nPrivateKey=") + kPrivate + "\nPresharedKey=" + kOther +
                       "\n");
  EXPECT_EQ(redaction.public_keys(), std::string("(hidden key 1) is the private key of ") + kPublic + "\n");
}

static std::string masked_configuration(const std::string& text) {
  Redaction redaction;
  redaction.learn_configuration(text);
  return redaction.masked_configuration(text);
}

TEST(RedactionTest, LeavesTheLayoutOfAConfiguration) {
  EXPECT_EQ(
      masked_configuration("{\"preshared_key\":\"abc\", \"a\": [1, {\"token\" : [\"x\", 2]}],\n \"b\": 3}\n"),
      "{\"preshared_key\":\"(hidden key 2)\", \"a\": [1, {\"token\" : \"(hidden key 1)\"}],\n \"b\": 3}\n");
}

TEST(RedactionTest, HidesTheKeysOfAConfigurationButNotNumbersOfTunnels) {
  EXPECT_EQ(masked_configuration(R"({"wpa_key": "hunter2", "gre": [{"key": 7}, {"key": "8"}], "pin": 1234})"),
            R"-({"wpa_key": "(hidden key 2)", "gre": [{"key": 7}, {"key": "8"}], "pin": "(hidden key 1)"})-");
}

TEST(RedactionTest, HidesEverySpellingInAConfiguration) {
  for (const std::string text :
       {"{\"pass\\u0077ord\": \"hunter2\"}", "\xef\xbb\xbf{\"password\": \"hunter2\"}",
        "{\"password\": \"hunter2\", \"password\": \"other\"}",
        "{\"password\": \"other\",\n\"password\": \"hunter2\"}", "{\"password\": \"hunter2\"",
        "{\"password\": \"hunter2\"}\n// once it was hunter2\n", "{\n// the password: hunter2\n}"}) {
    EXPECT_THAT(masked_configuration(text), Not(HasSubstr("hunter2"))) << text;
  }
}
