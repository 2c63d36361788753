#include "cli/dry_run/ports.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "cli/base/file.h"

namespace {

// A request to make an interface.
class Request {
 public:
  Request() {
    header().nlmsg_len = NLMSG_LENGTH(sizeof(ifinfomsg));
    header().nlmsg_type = RTM_NEWLINK;
    header().nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL;
  }

  // Returns the attribute, for close().
  rtattr* add(int type, std::string_view value) {
    auto* attribute = reinterpret_cast<rtattr*>(bytes_ + NLMSG_ALIGN(header().nlmsg_len));
    attribute->rta_type = static_cast<unsigned short>(type);
    attribute->rta_len = static_cast<unsigned short>(RTA_LENGTH(value.size()));
    value.copy(static_cast<char*>(RTA_DATA(attribute)), value.size());
    header().nlmsg_len = NLMSG_ALIGN(header().nlmsg_len) + RTA_ALIGN(attribute->rta_len);
    return attribute;
  }

  // What was added since then is inside the attribute.
  void close(rtattr* attribute) {
    const char* end = bytes_ + NLMSG_ALIGN(header().nlmsg_len);
    attribute->rta_len = static_cast<unsigned short>(end - reinterpret_cast<const char*>(attribute));
  }

  bool send_to(int socket) {
    return send(socket, bytes_, header().nlmsg_len, 0) == static_cast<ssize_t>(header().nlmsg_len);
  }

 private:
  nlmsghdr& header() {
    return *reinterpret_cast<nlmsghdr*>(bytes_);
  }

  alignas(nlmsghdr) char bytes_[512] = {};
};

}  // namespace

// Whether the kernel did what was asked; errno says why not.
static bool is_acknowledged(int socket) {
  alignas(nlmsghdr) char bytes[1024];
  if (recv(socket, bytes, sizeof bytes, 0) < static_cast<ssize_t>(NLMSG_LENGTH(sizeof(nlmsgerr))))
    return false;
  nlmsgerr answer{};
  std::memcpy(&answer, bytes + NLMSG_HDRLEN, sizeof answer);
  errno = -answer.error;
  return answer.error == 0;
}

static bool make_interface(const EthernetPort& port, std::string_view address, const char* kind) {
  Request request;
  request.add(IFLA_IFNAME, std::string_view(port.name.c_str(), port.name.size() + 1));
  request.add(IFLA_ADDRESS, address);
  rtattr* info = request.add(IFLA_LINKINFO, {});
  request.add(IFLA_INFO_KIND, kind);
  request.close(info);
  const Descriptor netlink(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  return netlink.is_open() && request.send_to(netlink.number()) && is_acknowledged(netlink.number());
}

bool make_port(const EthernetPort& port) {
  unsigned char bytes[6] = {};
  std::sscanf(port.mac_address.c_str(), "%hhx:%hhx:%hhx:%hhx:%hhx:%hhx", &bytes[0], &bytes[1], &bytes[2],
              &bytes[3], &bytes[4], &bytes[5]);
  const std::string_view address(reinterpret_cast<const char*>(bytes), sizeof bytes);
  // Any kind does that has a MAC address; a gateway's kernel knows bridges.
  return make_interface(port, address, "bridge") || make_interface(port, address, "veth");
}
