#include "cli/status/dnsmasq_health.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>

#include "cli/status/modified.h"
#include "network.h"
#include "test_files.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A process with these words, such as those of dnsmasq, at the end of its command line. It ignores them.
class Daemon {
 public:
  explicit Daemon(std::vector<std::string> words) : process_(fork()) {
    if (process_ != 0) {
      // The command line is visible once the shell has replaced this program.
      while (text_of_file("/proc/" + number() + "/cmdline").find("pause") == std::string::npos)
        usleep(1000);
      return;
    }
    std::vector<char*> argv = {const_cast<char*>("sh"), const_cast<char*>("-c"),
                               const_cast<char*>("read pause </dev/sandbox/fifo; exit")};
    for (std::string& word : words)
      argv.push_back(word.data());
    argv.push_back(nullptr);
    execv("/bin/sh", argv.data());
    _exit(127);
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;
  ~Daemon() {
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
  }

  std::string number() const {
    return std::to_string(process_);
  }

 private:
  pid_t process_;
};

class DnsmasqHealthTest : public ::testing::Test {
 protected:
  void SetUp() override {
    set_interface_up("lo");
    empty_directory("/run");
    std::filesystem::remove("/dev/sandbox/fifo");
    ASSERT_EQ(mkfifo("/dev/sandbox/fifo", 0600), 0);
    put_file("/run/dnsmasq.conf", "port=53\n");
  }

  static std::vector<std::string> configurations(const std::vector<std::string>& words) {
    std::string line = "dnsmasq";
    for (const std::string& word : words)
      line += '\0' + word;
    return dnsmasq_configurations(line + '\0');
  }

  // Answers a query as dnsmasq does.
  static std::vector<Responder::Bytes> respond(Responder::Bytes query) {
    query[2] = 0x85;
    return {query};
  }

  const std::string own_ = std::to_string(getpid());
};

TEST_F(DnsmasqHealthTest, ACommandLineNamesItsConfiguration) {
  EXPECT_THAT(configurations({}), ElementsAre("/etc/dnsmasq.conf"));
  EXPECT_THAT(configurations({"--conf-file=/a", "-x", "/pid"}), ElementsAre("/a"));
  EXPECT_THAT(configurations({"--conf-file", "/a"}), ElementsAre("/a"));
  EXPECT_THAT(configurations({"-k", "-C", "/a"}), ElementsAre("/a"));
  EXPECT_THAT(configurations({"-C/a"}), ElementsAre("/a"));
  EXPECT_THAT(configurations({"-C"}), ElementsAre(""));
}

TEST_F(DnsmasqHealthTest, ACommandLineNamesDirectoriesOfConfigurations) {
  std::filesystem::create_directory("/run/parts");
  put_file("/run/parts/a", "");
  put_file("/run/parts/b", "");
  EXPECT_THAT(configurations({"-7", "/run/parts,.dpkg-dist,.dpkg-old"}),
              ElementsAre("/etc/dnsmasq.conf", "/run/parts/a", "/run/parts/b"));
  EXPECT_THAT(configurations({"--conf-dir=/run/parts"}), ::testing::SizeIs(3));
  EXPECT_THAT(configurations({"--conf-dir=/missing"}), ElementsAre("/etc/dnsmasq.conf"));
}

TEST_F(DnsmasqHealthTest, ItsConfigurationIsThatOfTheRunOrLeadsToIt) {
  put_file("/run/other", "conf-file=/var/run/dnsmasq.conf\n");
  for (const char* option : {"--conf-file=/var/run/dnsmasq.conf", "-C/run/dnsmasq.conf", "-C/run/other"})
    EXPECT_EQ(read_dnsmasq_health(Daemon({option}).number(), {}).configuration, "") << option;
}

TEST_F(DnsmasqHealthTest, AnotherConfiguration) {
  put_file("/run/other", "port=53\n");
  EXPECT_EQ(read_dnsmasq_health(Daemon({"-C/run/other"}).number(), {}).configuration, "/run/other");
  std::filesystem::remove("/run/dnsmasq.conf");
  EXPECT_EQ(read_dnsmasq_health(Daemon({"-C/run/other"}).number(), {}).configuration, "/run/other");
  EXPECT_EQ(read_dnsmasq_health("4000000", {}).configuration, "") << "the process has gone";
}

TEST_F(DnsmasqHealthTest, ItsFilesAreTheConfigurationAndTheHosts) {
  EXPECT_EQ(read_dnsmasq_health(own_, {}).files_modified, modified_at("/run/dnsmasq.conf"));
  const auto an_hour_ago = std::filesystem::file_time_type::clock::now() - std::chrono::hours(1);
  std::filesystem::last_write_time("/run/dnsmasq.conf", an_hour_ago);
  put_file("/run/hosts", "127.0.0.1 localhost\n");
  EXPECT_EQ(read_dnsmasq_health(own_, {}).files_modified, modified_at("/run/hosts"));
}

TEST_F(DnsmasqHealthTest, AnAddressWithoutAnAnswerIsSilent) {
  const Responder server(udp_socket("127.0.0.1", 53), respond);
  EXPECT_THAT(read_dnsmasq_health(own_, {"127.0.0.1", "127.0.0.2"}).silent, ElementsAre("127.0.0.2"));
  EXPECT_THAT(read_dnsmasq_health(own_, {"127.0.0.1"}).silent, IsEmpty());
}

TEST_F(DnsmasqHealthTest, ItHasADhcpSocketIfOneIsItsOwn) {
  EXPECT_EQ(read_dnsmasq_health(own_, {}).has_dhcp_socket, false);
  const int dns = udp_socket("127.0.0.1", 1053);
  const int dhcp = udp_socket("0.0.0.0", 67);
  EXPECT_EQ(read_dnsmasq_health(own_, {}).has_dhcp_socket, true);
  EXPECT_EQ(read_dnsmasq_health("4000000", {}).has_dhcp_socket, std::nullopt);
  EXPECT_EQ(read_dnsmasq_health(Daemon({}).number(), {}).has_dhcp_socket, false) << "that of another one";
  close(dhcp);
  close(dns);
}
