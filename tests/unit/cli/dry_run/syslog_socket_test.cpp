#include "cli/dry_run/syslog_socket.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>

#include "cli/base/file.h"

static void send(const std::string& datagram) {
  constexpr sockaddr_un kAddress{AF_UNIX, "/dev/log"};
  const Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  EXPECT_EQ(sendto(socket.number(), datagram.data(), datagram.size(), 0,
                   reinterpret_cast<const sockaddr*>(&kAddress), sizeof kAddress),
            static_cast<ssize_t>(datagram.size()));
}

TEST(SyslogSocketTest, MessagesArriveWithTheirPriority) {
  const Descriptor socket(open_syslog_socket());
  ASSERT_TRUE(socket.is_open());
  EXPECT_EQ(open_syslog_socket(), -1) << "there is one already";
  for (const char* line :
       {"<133>Nov 21 19:01:18 network: text: more", "<131>Nov 21 19:01:18 other: text", "<12>", "", "text"})
    send(line);
  std::vector<Message> messages;
  while (receive_message(socket.number(), messages)) {
  }
  std::filesystem::remove("/dev/log");
  ASSERT_EQ(messages.size(), 4U) << "the empty one is none";
  EXPECT_EQ(messages[0].priority, 5);
  EXPECT_EQ(messages[0].text, "text: more");
  EXPECT_EQ(messages[1].priority, 3);
  EXPECT_EQ(messages[1].text, "other: text");
  EXPECT_EQ(messages[2].priority, 4);
  EXPECT_EQ(messages[2].text + messages[3].text, "");
}
