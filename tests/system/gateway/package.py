"""The Debian package on a gateway. Runs inside the gateway, like guest.py."""

# As Debian starts dnsmasq, but for the program: it is for the package's drop-in to name the right one.
DNSMASQ_SERVICE = """[Unit]
Requires=network.target
Wants=nss-lookup.target
Before=nss-lookup.target
After=network.target

[Service]
Type=forking
PIDFile=/run/dnsmasq/dnsmasq.pid
ExecStartPre=/bin/false
ExecStart=/bin/false
ExecStartPost=/bin/false
ExecStop=/bin/false

[Install]
WantedBy=multi-user.target
"""


def install(gateway, file):
    # The gateway has the machine's programs and an empty list of packages.
    directories = ("/var/lib/dpkg/info", "/var/lib/dpkg/updates", "/var/lib/dpkg/triggers", "/var/log")
    gateway.run("mkdir", "-p", *directories)
    gateway.write("/var/lib/dpkg/status", "")
    gateway.run("rm", "-rf", "/var/volatile", "/var/data")
    gateway.run("dpkg", "--force-depends", "--install", file)
    gateway.write("/etc/systemd/system/dnsmasq.service", DNSMASQ_SERVICE)
    gateway.run("systemctl", "daemon-reload")


def set_up(gateway, service, *lines):
    """Adds lines to the [Service] section of a service; none takes them back."""
    drop_in = f"/etc/systemd/system/{service}.service.d/test.conf"
    if lines:
        gateway.write(drop_in, "\n".join(("[Service]", *lines, "")))
    else:
        gateway.run("rm", "-f", drop_in)
    gateway.run("systemctl", "daemon-reload")
