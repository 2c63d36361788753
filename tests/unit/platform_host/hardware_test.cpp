#include <sys/resource.h>

#include "platform/libvantor.h"
#include "platform_test.h"

namespace {

// The sandbox has the ports eth0 and eth1 with fixed MAC addresses, and `lo`.
class HardwareTest : public PlatformTest {};

struct Address {
  int result;
  std::string text;
};

}  // namespace

static Address plain(const char* ifname) {
  const auto buffer = dirty_buffer(16);
  const int result = get_if_hw_addr(ifname, buffer.get());
  return {result, buffer.get()};
}

static Address formatted(const char* ifname) {
  const auto buffer = dirty_buffer(18);
  const int result = get_if_hw_addr_formatted(ifname, buffer.get());
  return {result, buffer.get()};
}

TEST_F(HardwareTest, AnAddressIsTwelveLowerCaseDigits) {
  EXPECT_EQ(plain("eth0").result, 0);
  EXPECT_EQ(plain("eth0").text, "02005e000010");
  EXPECT_EQ(plain("eth1").text, "02005e000011");
}

TEST_F(HardwareTest, AFormattedAddressHasColonsBetween) {
  EXPECT_EQ(formatted("eth0").result, 0);
  EXPECT_EQ(formatted("eth0").text, "02:00:5e:00:00:10");
  EXPECT_EQ(formatted("eth1").text, "02:00:5e:00:00:11");
}

TEST_F(HardwareTest, AnAddressThatCannotBeAskedForIsLogged) {
  rlimit files{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
  const rlimit none{0, files.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_EQ(plain("eth0").result, -1);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
  EXPECT_THAT(log_of_test,
              ElementsAre("notice cannot read the hardware address of eth0: Too many open files"));
}

TEST_F(HardwareTest, AnInterfaceWithoutAnAddressYieldsEmptyText) {
  for (const char* ifname :
       {"lo", "missing", "", "a-name-that-is-too-long-for-an-interface", "eth0eth0eth0eth0"}) {
    EXPECT_EQ(plain(ifname).result, -1) << ifname;
    EXPECT_EQ(plain(ifname).text, "") << ifname;
    EXPECT_EQ(formatted(ifname).result, -1) << ifname;
    EXPECT_EQ(formatted(ifname).text, "") << ifname;
  }
  EXPECT_THAT(log_of_test, IsEmpty());
}
