#include "cli/dry_run/sandbox_ports.h"

#include <libmnl/libmnl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <netinet/ether.h>

#include <memory>

namespace {

struct CloseSocket {
  void operator()(mnl_socket* socket) const {
    mnl_socket_close(socket);
  }
};

}  // namespace

static bool make_interface(const std::string& name, const ether_addr& address, const char* kind) {
  alignas(nlmsghdr) char bytes[1024];
  nlmsghdr* message = mnl_nlmsg_put_header(bytes);
  message->nlmsg_type = RTM_NEWLINK;
  message->nlmsg_flags = NLM_F_REQUEST | NLM_F_ACK | NLM_F_CREATE | NLM_F_EXCL;
  mnl_nlmsg_put_extra_header(message, sizeof(ifinfomsg));
  mnl_attr_put_strz(message, IFLA_IFNAME, name.c_str());
  mnl_attr_put(message, IFLA_ADDRESS, sizeof address, &address);
  nlattr* info = mnl_attr_nest_start(message, IFLA_LINKINFO);
  mnl_attr_put_str(message, IFLA_INFO_KIND, kind);
  mnl_attr_nest_end(message, info);

  const std::unique_ptr<mnl_socket, CloseSocket> socket(mnl_socket_open(NETLINK_ROUTE));
  if (socket == nullptr || mnl_socket_sendto(socket.get(), message, message->nlmsg_len) < 0) return false;
  const ssize_t size = mnl_socket_recvfrom(socket.get(), bytes, sizeof bytes);
  return size > 0 && mnl_cb_run(bytes, static_cast<std::size_t>(size), 0, 0, nullptr, nullptr) >= 0;
}

bool make_port(const SandboxPort& port) {
  ether_addr address{};
  ether_aton_r(port.mac_address.c_str(), &address);
  // Any kind of interface with a MAC address is suitable; a gateway's kernel supports bridges.
  return make_interface(port.name, address, "bridge") || make_interface(port.name, address, "veth");
}
