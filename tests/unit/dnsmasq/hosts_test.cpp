#include "dnsmasq/hosts.h"

#include <filesystem>

#include "file_size_limit.h"
#include "lanfab_test.h"

namespace {

class HostsTest : public LanfabTest {};

}  // namespace

// --- The configured names

TEST_F(HostsTest, TheConfiguredNamesAreAppended) {
  struct Case {
    const char* hostnames;
    const char* lines;
  };
  for (const Case& c : {
           Case{R"([{"name": "printer", "ipv4": "192.168.1.9"}, {"ipv4": "192.168.1.8", "name": "nas.lan"}])",
                "192.168.1.9 printer\n192.168.1.8 nas.lan\n"},
           Case{R"([{"name": "only-a-name"}, {"ipv4": "192.168.1.7"}, {},
                    {"name": "nas", "ipv4": "192.168.1.8"}])",
                "192.168.1.8 nas\n"},
           Case{R"([{"name": 5, "ipv4": "192.168.1.7"}, {"name": "x", "ipv4": 7}, null, "text", [], 3,
                    {"name": "nas", "ipv4": "192.168.1.8"}])",
                "192.168.1.8 nas\n"},
           Case{R"([{"name": "", "ipv4": ""}, {"name": "any text", "ipv4": "neither"}])",
                " \nneither any text\n"},
           Case{R"([])", ""},
           Case{R"({"name": "nas", "ipv4": "192.168.1.8"})", ""},
           Case{R"("nas")", ""},
       }) {
    SCOPED_TRACE(c.hostnames);
    put_file("/var/run/hosts", "127.0.0.1 localhost\n");
    const NetworkContext ctx = context_of(R"({"hostnames": )" + std::string(c.hostnames) + "}");
    dnsmasq_add_hostnames(&ctx);
    EXPECT_EQ(text_of_file("/var/run/hosts"), std::string("127.0.0.1 localhost\n") + c.lines);
  }
}

TEST_F(HostsTest, WithoutConfiguredNamesThereIsNothingToWrite) {
  const NetworkContext ctx = context_of("{}");
  dnsmasq_add_hostnames(&ctx);
  EXPECT_FALSE(exists("/var/run/hosts"));
}

// --- One name

TEST_F(HostsTest, AddingAHostAppendsALine) {
  const NetworkContext ctx = context_of("{}");
  put_file("/var/run/hosts", "127.0.0.1 localhost\n");
  EXPECT_EQ(dnsmasq_add_dns_host(&ctx, "qel", "192.168.1.1"), 0);
  EXPECT_EQ(dnsmasq_add_dns_host(&ctx, "qel2", "192.168.2.1"), 0);
  EXPECT_EQ(text_of_file("/var/run/hosts"), "127.0.0.1 localhost\n192.168.1.1 qel\n192.168.2.1 qel2\n");
}

TEST_F(HostsTest, AddingAHostMakesTheFile) {
  const NetworkContext ctx = context_of("{}");
  EXPECT_EQ(dnsmasq_add_dns_host(&ctx, "qel", "192.168.1.1"), 0);
  EXPECT_EQ(text_of_file("/var/run/hosts"), "192.168.1.1 qel\n");
  EXPECT_THAT(platform().calls, IsEmpty());
}

TEST_F(HostsTest, AFileThatCannotBeOpenedIsPassedOverInSilence) {
  std::filesystem::create_directory("/var/run/hosts");
  const NetworkContext ctx = context_of(R"({"hostnames": [{"name": "printer", "ipv4": "192.168.1.9"}]})");
  EXPECT_EQ(dnsmasq_add_dns_host(&ctx, "printer", "192.168.1.9"), -1);
  dnsmasq_add_hostnames(&ctx);
  EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(HostsTest, ANameThatDoesNotFitLeavesTheEarlierOnes) {
  put_file("/var/run/hosts", "127.0.0.1 localhost\n");
  const NetworkContext ctx = context_of("{}");
  const FileSizeLimit limit(30);
  EXPECT_EQ(dnsmasq_add_dns_host(&ctx, "printer", "192.168.1.9"), -1);
  EXPECT_EQ(text_of_file("/var/run/hosts"), "127.0.0.1 localhost\n");
  EXPECT_THAT(platform().log, ElementsAre("notice error writing /var/run/hosts: File too large"));
}

// --- The trace

TEST_F(HostsTest, AddingAHostPrintsItsTraceLineAndTheListDoesNot) {
  NetworkContext ctx = context_of(R"({"hostnames": [{"name": "nas", "ipv4": "192.168.1.8"}]})");
  EXPECT_EQ(printed_by([&] { dnsmasq_add_hostnames(&ctx); }), "");
  ctx.trace = true;
  EXPECT_EQ(printed_by([&] { dnsmasq_add_hostnames(&ctx); }), "dnsmasq_add_dns_host\n");
}

TEST_F(HostsTest, AHostIsWrittenWithANameAndAnAddress) {
  const Json::Value host = json(R"({"name": "nas", "ipv4": ""})");
  EXPECT_EQ(read_host_name(host).name, "nas");
  EXPECT_EQ(read_host_name(host).ipv4, "");
  EXPECT_TRUE(read_host_name(host).is_written());
  EXPECT_FALSE(read_host_name(json(R"({"name": "nas"})")).is_written());
  EXPECT_FALSE(read_host_name(json(R"({"name": 5, "ipv4": "10.0.0.1"})")).is_written());
}
