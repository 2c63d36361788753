"""The cellular link, and the device behind the pass-through port. The demo simulates modem and operator."""

import guest
import hosts
import program
import screen
from plan import CELLULAR, FALLBACKS, HOSTS

OPERATOR = HOSTS[CELLULAR]
# In pass-through, the cellular interface uses these addresses for itself and its gateway.
OWN_ADDRESS = "169.125.7.209"
OWN_GATEWAY = "169.125.7.210"
POST_START_SCRIPT = "/var/run/post_networkd_start_actions_script"
NAME = "news.example"
PROXY_ARP = "/proc/sys/net/ipv4/conf/wwan/proxy_arp"

gateway = guest.Gateway()


def come_up(plan):
    """Simulates a link that comes up, and runs the program like the link manager; returns its status."""
    link = plan.link
    print("The demo simulates the modem. It publishes", end=" ")
    print(f"the address {link.address}, the gateway {link.gateway}")
    print("and a DNS server, and runs cmd_lanfab as the device's link manager does.\n", flush=True)
    beyond = [f"{host}/32" for host in dict.fromkeys([link.beyond, *link.routed])]
    if plan.passthrough:
        beyond.append(f"{OWN_GATEWAY}/32")
    operator = str(link.gateway)
    prefix = link.address.network.prefixlen
    gateway.connect_cellular(str(link.address.ip), prefix, operator, dns=(operator,), beyond=beyond)
    # A real link carries every packet to the operator; on this cable, the operator must answer ARP requests.
    gateway.run("sh", "-c", f"echo 1 >{PROXY_ARP}", namespace=OPERATOR)
    gateway.start_host_dnsmasq(OPERATOR, f"--address=/{NAME}/{link.beyond}")
    statuses = []
    for action in ("wwan_apply", "dnsmasq"):
        screen.title(f"$ cmd_lanfab {action}")
        statuses.append(program.run(action))
        screen.space()
    return next(filter(None, statuses), 0)


def show_kernel(plan):
    interfaces = [CELLULAR]
    if plan.passthrough:
        port = plan.passthrough
        interfaces.append(port.port)
        program.wait_for_ip(CELLULAR, OWN_ADDRESS)
        program.wait_for_ip(port.port, port.address.ip if port.address else plan.link.gateway)
        finish_start(port)
    elif plan.link_for_lans:
        program.wait_for_ip(CELLULAR, plan.link.address.ip)
    for interface in interfaces:
        program.show_command("ip", "-4", "-brief", "address", "show", "dev", interface)
    program.show_command("ip", "route")


def finish_start(port):
    """Runs the script that the device runs after systemd-networkd has started."""
    if port.address and gateway.exists(POST_START_SCRIPT):
        screen.title(f"$ {POST_START_SCRIPT}")
        screen.indented(["(the device runs this after systemd-networkd has started)"])
        screen.space()
        gateway.wait_for_setup(port.port, CELLULAR)
        gateway.run(POST_START_SCRIPT, check=False)


# Behind the pass-through port


def show_device_before(port):
    screen.title(f"The device behind {port.port}, while the cellular link is down")
    own, fallback = FALLBACKS[port.port]
    if not port.has_fallback:
        screen.note(f'gets no address: "enable_secondary_ip" of {port.port} is not set')
        screen.space()
        return
    program.wait_for_ip(port.port, own.ip)
    lease = gateway.dhcp_lease(HOSTS[port.port], seconds=hosts.PATIENCE)
    good = lease and lease["ip"] == fallback
    hosts.show_lease(lease, f"gets the fallback address {fallback} from DHCP", good)
    reached = gateway.reaches(str(own.ip), HOSTS[port.port], hosts.PATIENCE)
    screen.answer(f"reaches the gateway at {own.ip}", reached)
    screen.space()


def show_device_after(port, link):
    screen.title(f"The device behind {port.port}, now that the link is up")
    namespace = HOSTS[port.port]
    if program.serves_dhcp(port.port):
        lease = gateway.dhcp_lease(namespace, seconds=hosts.PATIENCE)
        if port.has_pool:
            hosts.show_lease(lease, "gets an address of the configured range from DHCP", lease)
        else:
            good = lease and lease["ip"] == str(link.address.ip)
            hosts.show_lease(lease, f"gets the cellular address {link.address.ip} from DHCP", good)
    else:
        gateway.set_host_address(namespace, str(link.address), str(port.address.ip))
        screen.note(f"uses the cellular address {link.address} as a static address: there is no DHCP server")
    reached = gateway.reaches(str(link.beyond), namespace, hosts.PATIENCE)
    screen.answer(f"reaches {link.beyond}, a host behind the operator", reached)
    screen.space()


# In the LANs


def show_lan_hosts(plan):
    """Shows the connectivity of a LAN host over the link."""
    lan = plan.lans[0] if plan.lans and plan.forwards else None
    who = f"The host {hosts.location(lan, lan.behind[0])}" if lan else "The gateway itself"
    namespace = hosts.first_host(lan) if lan else None
    screen.title(f"{who}, over the cellular link")
    if lan:
        route_back(plan)
        screen.note("the demo has no NAT, which is the firewall's task: the operator has routes to the LANs")
    device = gateway.way_to(str(plan.link.beyond)).get("dev")
    if device == CELLULAR:
        reached = gateway.reaches(str(plan.link.beyond), namespace, hosts.PATIENCE)
        screen.answer(f"reaches {plan.link.beyond}, a host behind the operator", reached)
    else:
        screen.note(f"the default route uses {device or 'no interface'}, not the cellular link")
    for target in plan.link.routed:
        reached = gateway.reaches(str(target), namespace, hosts.PATIENCE)
        screen.answer(f"reaches {target}, the destination of a static route", reached)
    if lan and plan.link.brings_names:
        found = gateway.resolve(NAME, lan.gateway, namespace)
        answer = ", ".join(found) or "no answer"
        screen.answer(f"resolves {NAME}, a name from the operator's DNS server: {answer}", found)
    screen.space()


def route_back(plan):
    """Adds routes to the LANs to the operator."""
    way = ("via", plan.link.address.ip, "dev", "wwan", "onlink")
    for lan in plan.lans:
        gateway.run("ip", "route", "replace", lan.address.network, *way, namespace=OPERATOR)
