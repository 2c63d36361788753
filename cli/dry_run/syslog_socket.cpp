#include "cli/dry_run/syslog_socket.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include <cstdlib>
#include <string_view>

int open_syslog_socket() {
  constexpr sockaddr_un kAddress{AF_UNIX, "/dev/log"};
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  return bind(socket, reinterpret_cast<const sockaddr*>(&kAddress), sizeof kAddress) == 0 ? socket : -1;
}

// The priority and the text of a line such as "<133>Nov 21 19:01:18 network: text".
static Message parse_message(std::string_view line) {
  constexpr std::size_t kTimeLength = 16;
  constexpr std::string_view kIdent = "network: ";
  const auto priority = static_cast<int>(std::strtol(line.data() + 1, nullptr, 10));
  line.remove_prefix(std::min(line.find('>'), line.size() - 1) + 1);
  line.remove_prefix(std::min(kTimeLength, line.size()));
  if (line.substr(0, kIdent.size()) == kIdent) line.remove_prefix(kIdent.size());
  return {LOG_PRI(priority), std::string(line)};
}

bool receive_message(int socket, std::vector<Message>& messages) {
  static char line[65536];
  ssize_t size = 0;
  do
    size = recv(socket, line, sizeof line - 1, 0);
  while (size == 0);
  if (size < 0) return false;
  line[size] = '\0';
  messages.push_back(parse_message({line, static_cast<std::size_t>(size)}));
  return true;
}
