#include "cli/dry_run/sandbox_ports.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>

#include "platform/libvantor.h"

TEST(SandboxPortsTest, APortHasItsNameAndAddress) {
  ASSERT_TRUE(make_port({"port9", "02:00:5e:00:53:09"}));
  char address[18] = "";
  EXPECT_EQ(get_if_hw_addr_formatted("port9", address), 0);
  EXPECT_STREQ(address, "02:00:5e:00:53:09");
  EXPECT_FALSE(make_port({"port9", "02:00:5e:00:53:0a"}));
  EXPECT_EQ(errno, EEXIST);
  EXPECT_FALSE(make_port({"a name that is too long", "02:00:5e:00:53:0b"}));
}

TEST(SandboxPortsTest, WithoutASocketThereIsNoPort) {
  rlimit files{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
  const rlimit none{0, files.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  EXPECT_FALSE(make_port({"port8", "02:00:5e:00:53:08"}));
  EXPECT_EQ(errno, EMFILE);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
}
