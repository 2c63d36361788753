#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "platform/libvantor.h"
#include "platform_test.h"

namespace {

// The sandbox has no network, and a hosts file with `localhost` only.
class ResolverTest : public PlatformTest {};

struct Answer {
  int result;
  std::string text;
};

}  // namespace

// Resolves a name with room for `size` characters and the terminator.
static Answer ask(const char* name, int size = 15) {
  const auto buffer = dirty_buffer(static_cast<std::size_t>(size) + 1);
  const int result = domain_ip_to_ip_str(name, buffer.get(), size, 0, 0);
  return {result, buffer.get()};
}

static FailingCall failing_fork;
static FailingCall failing_pipe2;

static FailingCall failing_read;
static FailingCall failing_write;
static int half_reads = 0;

// The answer is the only data of this size that is read or written.
extern "C" ssize_t read(int file, void* buffer, std::size_t size) {
  const auto read_on = next<ssize_t (*)(int, void*, std::size_t)>("read");
  if (size != sizeof(in_addr)) return read_on(file, buffer, size);
  if (failing_read.fails()) return -1;
  return read_on(file, buffer, half_reads-- > 0 ? size / 2 : size);
}

extern "C" ssize_t write(int file, const void* buffer, std::size_t size) {
  if (size == sizeof(in_addr) && failing_write.fails()) return -1;
  return next<ssize_t (*)(int, const void*, std::size_t)>("write")(file, buffer, size);
}

extern "C" pid_t fork() noexcept {
  return failing_fork.fails() ? -1 : next<pid_t (*)()>("fork")();
}

extern "C" int pipe2(int ends[2], int flags) noexcept {
  return failing_pipe2.fails() ? -1 : next<int (*)(int*, int)>("pipe2")(ends, flags);
}

TEST_F(ResolverTest, ADottedAddressIsItsOwnAnswer) {
  for (const char* address : {"10.1.1.1", "0.0.0.0", "255.255.255.255"}) {
    EXPECT_EQ(ask(address).result, 0) << address;
    EXPECT_EQ(ask(address).text, address);
  }
}

TEST_F(ResolverTest, ANameIsLookedUp) {
  EXPECT_EQ(ask("localhost").result, 0);
  EXPECT_EQ(ask("localhost").text, "127.0.0.1");
}

TEST_F(ResolverTest, WhatCannotBeResolvedIsAFailureWithEmptyText) {
  for (const char* name : {"no-such-host.invalid", "", "fe80::1", "10.1.1.256", "not a name"}) {
    EXPECT_NE(ask(name).result, 0) << name;
    EXPECT_EQ(ask(name).text, "") << name;
  }
}

TEST_F(ResolverTest, AnAnswerThatDoesNotFitIsRefused) {
  EXPECT_EQ(ask("127.0.0.1", 9).result, 0);
  EXPECT_EQ(ask("127.0.0.1", 9).text, "127.0.0.1");
  EXPECT_NE(ask("127.0.0.1", 8).result, 0);
  EXPECT_EQ(ask("127.0.0.1", 8).text, "");
  EXPECT_NE(ask("localhost", 0).result, 0);
  const auto buffer = dirty_buffer(16);
  EXPECT_NE(domain_ip_to_ip_str("127.0.0.1", buffer.get(), -1, 0, 0), 0);
}

TEST_F(ResolverTest, ASignalDoesNotEndTheWaitForTheAnswer) {
  failing_waitpid.fail(2, EINTR);
  EXPECT_EQ(ask("localhost").text, "127.0.0.1");
}

TEST_F(ResolverTest, WithoutAProcessToAskThereIsNoAnswer) {
  failing_fork.fail(1, EAGAIN);
  EXPECT_NE(ask("localhost").result, 0);
  failing_pipe2.fail(1, EMFILE);
  EXPECT_NE(ask("localhost").result, 0);
  EXPECT_THAT(log_of_test, ElementsAre("notice cannot look up localhost: Resource temporarily unavailable",
                                       "notice cannot look up localhost: Too many open files"));
  EXPECT_EQ(ask("localhost").result, 0);
}

TEST_F(ResolverTest, AnAnswerThatDoesNotArriveIsNoMissingAddress) {
  failing_read.fail(1, EIO);
  EXPECT_NE(ask("localhost").result, 0);
  // The child process that resolves the name writes the answer.
  failing_write.fail(1, EIO);
  EXPECT_NE(ask("localhost").result, 0);
  half_reads = 1;
  EXPECT_NE(ask("localhost").result, 0);
  EXPECT_THAT(log_of_test, Each("notice cannot look up localhost: Input/output error"));
  EXPECT_EQ(log_of_test.size(), 3U);
  failing_write.fail(0, 0);
}

TEST_F(ResolverTest, AnInterruptedReadIsRepeated) {
  failing_read.fail(1, EINTR);
  EXPECT_EQ(ask("localhost").text, "127.0.0.1");
}

TEST_F(ResolverTest, ANameWithoutAnAddressIsNotLogged) {
  ask("no-such-host.invalid");
  EXPECT_THAT(log_of_test, IsEmpty());
}

// A name server on the loopback interface that never answers, instead of the machine's.
class SilentNameServer {
 public:
  SilentNameServer() : socket_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    ifreq loopback{};
    std::strcpy(loopback.ifr_name, "lo");
    loopback.ifr_flags = IFF_UP | IFF_RUNNING;
    EXPECT_EQ(ioctl(socket_, SIOCSIFFLAGS, &loopback), 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(53);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    put_file("/run/resolv.conf", "nameserver 127.0.0.1\n");
    EXPECT_EQ(mount("/run/resolv.conf", "/etc/resolv.conf", nullptr, MS_BIND, nullptr), 0);
  }
  SilentNameServer(const SilentNameServer&) = delete;
  SilentNameServer& operator=(const SilentNameServer&) = delete;
  ~SilentNameServer() {
    umount("/etc/resolv.conf");
    close(socket_);
  }

  bool was_asked() const {
    char query[512];
    return recv(socket_, query, sizeof query, MSG_DONTWAIT) > 0;
  }

 private:
  int socket_;
};

TEST_F(ResolverTest, ASilentNameServerIsGivenUpInTwoSeconds) {
  const SilentNameServer server;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_NE(ask("relay.example").result, 0);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2900));
  EXPECT_TRUE(server.was_asked());
}
