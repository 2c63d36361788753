import pathlib

SWITCHES = ("ipv4/conf/eth0/forwarding", "ipv6/conf/eth0/forwarding", "ipv4/ip_forward")


def switch(name):
    return pathlib.Path("/proc/sys/net") / name


for name in SWITCHES:
    switch(name).write_text("1\n")
run.start()
run.finish()
state = "".join(f"{name} {switch(name).read_text()}" for name in SWITCHES)
pathlib.Path("/var/run/kernel_forwarding").write_text(state)
