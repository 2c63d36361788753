#include <filesystem>

#include "platform/libcmd.h"
#include "platform_test.h"

namespace {

class ConfigurationTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    std::filesystem::create_directory("/run/config");
    setenv("LANFAB_CONFIG_DIR", "/run/config", 1);
  }
};

}  // namespace

// Fetches an object that must exist.
static Json::Value fetched(const std::string& name) {
  Json::Value value;
  EXPECT_EQ(standard_error_of([&] { EXPECT_EQ(cmd_get_value_json(name, value), 0) << name; }), "");
  return value;
}

// Fetches an object that must not exist; returns the error on standard error.
static std::string parse_error(const std::string& name) {
  Json::Value value("before");
  std::string text = standard_error_of([&] { EXPECT_NE(cmd_get_value_json(name, value), 0) << name; });
  EXPECT_EQ(value, Json::Value("before"));
  EXPECT_THAT(text, EndsWith("\n"));
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  return text;
}

// Returns the error on standard error about a network.json with this text.
static std::string complaint_about(const std::string& text) {
  put_file("/run/config/network.json", text);
  return parse_error("network");
}

TEST_F(ConfigurationTest, ANameIsAFileOfTheDirectory) {
  put_file("/run/config/network.json", "{\"wired\": {\"eth0\": {\"enable\": true}}}\n");
  put_file("/run/config/other.json", "{}");
  EXPECT_EQ(fetched("network"), json(R"({"wired": {"eth0": {"enable": true}}})"));
  EXPECT_EQ(fetched("other"), json("{}"));
}

TEST_F(ConfigurationTest, TheRestOfADottedNameIsAPathInTheFile) {
  put_file("/run/config/network.json", R"({"tunnels": {"wireguard": {"enable": false}}, "text": "x"})");
  EXPECT_EQ(fetched("network.tunnels"), json(R"({"wireguard": {"enable": false}})"));
  EXPECT_EQ(fetched("network.tunnels.wireguard"), json(R"({"enable": false})"));
}

TEST_F(ConfigurationTest, APathThatIsNotThereIsNamed) {
  put_file("/run/config/network.json", R"({"tunnels": {"gre": []}})");
  for (const std::string path : {"tunnels.wireguard", "wired", "tunnels.wireguard.peers", ""}) {
    EXPECT_THAT(parse_error("network." + path),
                AllOf(StartsWith("/run/config/network.json: "), HasSubstr("\"" + path + "\"")));
  }
}

TEST_F(ConfigurationTest, AMissingFileIsNamedWithTheReason) {
  EXPECT_EQ(parse_error("network"), "/run/config/network.json: No such file or directory\n");
}

TEST_F(ConfigurationTest, ADirectoryInTheFilesPlaceIsNamedWithTheReason) {
  std::filesystem::create_directory("/run/config/network.json");
  EXPECT_EQ(parse_error("network"), "/run/config/network.json: Is a directory\n");
}

TEST_F(ConfigurationTest, WithoutADirectoryOfItsOwnTheSystemsIsUsed) {
  unsetenv("LANFAB_CONFIG_DIR");
  EXPECT_EQ(parse_error("no-such-object"), "/etc/lanfab/no-such-object.json: No such file or directory\n");
}

TEST_F(ConfigurationTest, AFileOnTrialIsReadInsteadOfTheInstalledOne) {
  std::filesystem::create_directory("/run/lanfab");
  put_file("/run/lanfab/network.json", R"({"is": "trial"})");
  put_file("/run/config/network.json", R"({"is": "of the caller"})");
  EXPECT_EQ(fetched("network")["is"], Json::Value("of the caller"));
  unsetenv("LANFAB_CONFIG_DIR");
  EXPECT_EQ(fetched("network")["is"], Json::Value("trial"));
  EXPECT_EQ(parse_error("other"), "/etc/lanfab/other.json: No such file or directory\n") << "not on trial";
}

TEST_F(ConfigurationTest, WithoutATrialTheInstalledFileIsRead) {
  unsetenv("LANFAB_CONFIG_DIR");
  put_file("/run/lanfab", "no directory");
  EXPECT_EQ(parse_error("network"), "/etc/lanfab/network.json: No such file or directory\n");
}

TEST_F(ConfigurationTest, AFileOnTrialThatCannotBeUsedIsAnError) {
  unsetenv("LANFAB_CONFIG_DIR");
  std::filesystem::create_directory("/run/lanfab");
  put_file("/run/lanfab/network.json", "{");
  EXPECT_THAT(parse_error("network"), StartsWith("/run/lanfab/network.json:1:2: "));
  std::filesystem::remove("/run/lanfab/network.json");
  std::filesystem::create_directory("/run/lanfab/network.json");
  EXPECT_EQ(parse_error("network"), "/run/lanfab/network.json: Is a directory\n");
  std::filesystem::remove("/run/lanfab/network.json");
  std::filesystem::create_symlink("/run/lanfab/missing", "/run/lanfab/network.json");
  EXPECT_EQ(parse_error("network"), "/run/lanfab/network.json: Too many levels of symbolic links\n");
}

TEST_F(ConfigurationTest, ASyntaxErrorIsReportedWithItsLineAndColumn) {
  EXPECT_THAT(complaint_about("{\n  \"enable\": tru\n}\n"), StartsWith("/run/config/network.json:2:13: "));
  EXPECT_THAT(complaint_about("{\"a\": 1,\n \"b\" 2}"), StartsWith("/run/config/network.json:2:6: "));
  EXPECT_THAT(complaint_about("{\"a\": [1, 2}"), StartsWith("/run/config/network.json:1:12: "));
  EXPECT_THAT(complaint_about("\n\n  nonsense"), StartsWith("/run/config/network.json:3:3: "));
}

TEST_F(ConfigurationTest, TheReasonFollowsThePosition) {
  for (const char* text : {"{\n\"a\": tru}", "{\"a\" 1}", "", "[1]", "{} {}"}) {
    SCOPED_TRACE(text);
    EXPECT_THAT(complaint_about(text), MatchesRegex("/run/config/network\\.json:[0-9]+:[0-9]+: [^ ].+\n"));
  }
}

TEST_F(ConfigurationTest, OnlyStrictJsonIsAConfiguration) {
  for (const char* text : {
           "",
           "  ",
           "{",
           "{}}",
           "{} trailing",
           "{} // comment",
           "/* comment */ {}",
           "{\"a\": 1,}",
           "{a: 1}",
           "{'a': 1}",
           "{\"a\": 'b'}",
           "{\"a\": NaN}",
           "{\"a\": \"unterminated}",
           "{\"a\": \"\\x\"}",
       }) {
    SCOPED_TRACE(text);
    EXPECT_THAT(complaint_about(text), StartsWith("/run/config/network.json:1:"));
  }
}

TEST_F(ConfigurationTest, AKeyMayStandOnceOnly) {
  EXPECT_THAT(complaint_about("{\n \"wired\": {\"a\": 1,\n  \"a\": 2}\n}"),
              AllOf(StartsWith("/run/config/network.json:3:3: "), HasSubstr("'a'")));
}

TEST_F(ConfigurationTest, TheRootIsAnObject) {
  for (const char* text : {"[]", "[{}]", "null", "true", "7", "\"network\""})
    EXPECT_THAT(complaint_about(text), StartsWith("/run/config/network.json:1:1: ")) << text;
}

TEST_F(ConfigurationTest, NestingHasALimitThatNoConfigurationMeets) {
  const auto nested = [](std::size_t depth) {
    return "{\"a\": " + std::string(depth, '[') + std::string(depth, ']') + "}";
  };
  for (const std::string& text : {nested(100000), "{\"a\": " + std::string(100000, '[')})
    EXPECT_THAT(complaint_about(text), MatchesRegex("/run/config/network\\.json:[0-9]+:[0-9]+: [^ ].+\n"));
  put_file("/run/config/network.json", nested(200));
  EXPECT_EQ(fetched("network")["a"].size(), 1U);
}

TEST_F(ConfigurationTest, AnyBytesAreRefusedOrRead) {
  complaint_about(std::string("{\0}", 3));
  complaint_about(std::string(4096, '\xff'));
}

TEST_F(ConfigurationTest, ARefusedTextIsNamedWithItsPlace) {
  EXPECT_EQ(complaint_about(R"({
  "dns": {"source": "isp"},
  "hostnames": [{"name": "a\nb"}]
})"),
            "/run/config/network.json:3:26: hostnames[0].name: control character U+000A\n");
  EXPECT_EQ(complaint_about(R"({"static_routes": [{"gateway": "`reboot`"}, {"gateway": ";"}]})"),
            "/run/config/network.json:1:32: static_routes[0].gateway: "
            "the character '`' is special to the shell\n");
}

TEST_F(ConfigurationTest, AKeyThatStandsTwiceIsQuotedWithoutItsControlCharacters) {
  EXPECT_EQ(complaint_about("{\"a\x1b[31m\xff\": 1, \"a\x1b[31m\xff\": 2}"),
            "/run/config/network.json:1:16: Duplicate key: 'a?[31m?'\n");
}

TEST_F(ConfigurationTest, ARefusedTextInAnyPartOfTheFileRefusesEveryPart) {
  put_file("/run/config/network.json", R"({"tunnels": {"wireguard": {}}, "other": "\u0007"})");
  EXPECT_EQ(parse_error("network.tunnels.wireguard"),
            "/run/config/network.json:1:41: other: control character U+0007\n");
}

TEST_F(ConfigurationTest, AFileOfMoreThanFourMegabytesIsRefused) {
  const auto padded = [](std::size_t size) { return "{\"a\": 1" + std::string(size - 8, ' ') + "}"; };
  put_file("/run/config/network.json", padded(4000000));
  EXPECT_EQ(fetched("network")["a"], Json::Value(1));
  EXPECT_EQ(complaint_about(padded(4000001)),
            "/run/config/network.json: the configuration is larger than 4 MB\n");
  std::filesystem::remove("/run/config/network.json");
  std::filesystem::create_symlink("/dev/zero", "/run/config/network.json");
  EXPECT_EQ(parse_error("network"), "/run/config/network.json: the configuration is larger than 4 MB\n");
}

TEST_F(ConfigurationTest, ALargeConfigurationIsRead) {
  std::string text = "{\"list\": [0";
  for (int i = 1; i < 100000; ++i)
    text += ", " + std::to_string(i);
  put_file("/run/config/network.json", text + "]}");
  EXPECT_EQ(fetched("network")["list"].size(), 100000U);
}
