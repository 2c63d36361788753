#!/usr/bin/env python3
"""A simulated gateway in its own sandbox: the real `lanfab` and `cmd_lanfab`, the kernel's network,
and an SSH server, with stubs of systemd and of systemd-networkd, which sets the address of eth0.

Usage: gateway.py LANFAB CMD_LANFAB KEYS CONFIGURATION. KEYS is a directory with the server's key, the public
key of the user and a copy of ip. The program prints a line when its namespaces exist, and waits for a line on
standard input, which means that eth0 exists.
"""

import ctypes
import os
import pathlib
import subprocess
import sys

from lib import fake_systemd as systemd
from lib.fake_systemd import INSTALLED, TOOLS, UNITS
from lib.sandbox import put_first

LANFAB, PROGRAM, KEYS, CONFIGURATION = (pathlib.Path(word) for word in sys.argv[1:5])
HOME = pathlib.Path("/run/root")
# Files that a test creates: shell commands that an apply runs first, and a file that makes sudo fail.
BEFORE_APPLY = pathlib.Path("/run/before-apply")
NO_SUDO = pathlib.Path("/run/no-sudo")

SCRIPTS = {
    **systemd.SCRIPTS,
    # A real network card cannot be deleted, but eth0 is one end of a veth pair.
    "ip": f'case $* in *"link del"*eth0) exit 2 ;; esac; exec {KEYS}/ip "$@"\n',
    "networkctl": """echo '{"Interfaces": [{"Name": "eth0", "AdministrativeState": "configured"}]}'\n""",
    "sudo": f"""
if [ -e {NO_SUDO} ]; then echo 'sudo: a password is required' >&2; exit 1; fi
while [ "${{1#-}}" != "$1" ]; do case $1 in -u) shift ;; esac; shift; done
SUDO_USER=anna exec "$@"
""",
    "lanfab": f'exec {LANFAB} "$@"\n',
    "cmd_lanfab": f'exec {PROGRAM} "$@"\n',
    # All services are active; the units of the stub of systemd-run are files. Stopping an apply waits for its
    # end.
    "systemctl": """
case $* in
  *ActiveState,*) printf 'ActiveState=active\\nSubState=running\\n\\n%%.0s' 1 2; exit ;;
  *is-active*lanfab-rollout*) test -e %(units)s/lanfab-rollout.service; exit ;;
  *is-active*) exit 0 ;;
  "start lanfab-revert.service") exec lanfab-revert ;;
  "stop lanfab-apply.service")
    while [ -e %(units)s/lanfab-apply.service ]; do
      kill -- -$(cat %(units)s/lanfab-apply.service)
      sleep 0.1
    done 2>/dev/null
    exit ;;
esac
""" % {"units": UNITS} + systemd.SCRIPTS["systemctl"],
    # The rollback service, which the timer and systemctl start. Only one rollback runs at a time; a second
    # start waits for its end.
    "lanfab-revert": f"""
service={UNITS}/lanfab-revert.service
if mkdir $service 2>/dev/null; then
  sh {systemd.TIMER}
  status=$?
  rmdir $service
  exit $status
fi
while [ -e $service ]; do sleep 0.1; done
""",
    # Timers expire unless they are stopped. The services of a rollout and of an apply really run.
    "systemd-run": """
service() {
  while [ "${1#-}" != "$1" ]; do shift; done
  : >$unit.service
  setsid --wait sh -c 'echo $$ >"$0"; exec "$@"' $unit.service "$@"
  status=$?
  rm $unit.service
  return $status
}
for word; do
  case $word in
    --unit=*) unit=%s/${word#--unit=} ;;
    --on-active=*) seconds=${word#--on-active=} ;;
  esac
done
case $unit in
  */lanfab-rollout) service "$@" </dev/null >/dev/null 2>&1 & exit ;;
  */lanfab-apply) service "$@"; exit ;;
esac
(%s)
status=$?
if [ "${seconds-}" ]; then
  exec 9<$unit.timer
  (sleep ${seconds%%s}
  if [ $unit.timer -ef /proc/self/fd/9 ]; then lanfab-revert; fi) </dev/null >/dev/null 2>&1 &
fi
exit $status
""" % (UNITS, systemd.SCRIPTS["systemd-run"]),
    # Runs an apply, and sets the addresses in its unit like systemd-networkd.
    "timeout": f"""
[ ! -e {BEFORE_APPLY} ] || . {BEFORE_APPLY}
shift 2
"$@" || exit 1
wanted=$(sed -n 's/^Address = //p' /run/systemd/network/20-eth0.network)
{KEYS}/ip link set eth0 up
{KEYS}/ip address flush dev eth0
for address in $wanted; do {KEYS}/ip address add $address dev eth0; done
""",
}

SSHD = f"""
HostKey {KEYS}/host_key
AuthorizedKeysFile {KEYS}/user_key.pub
StrictModes no
UsePAM no
PidFile none
UseDNS no
MaxStartups 100
SetEnv LLVM_PROFILE_FILE=/dev/null
"""


def lay_out():
    systemd.SCRIPTS = SCRIPTS
    systemd.lay_out()
    HOME.mkdir()
    pathlib.Path("/run/sshd").mkdir()
    # The only user of the sandbox is root.
    pathlib.Path("/etc/passwd").write_text(f"root:x:0:0::{HOME}:/bin/sh\nsshd:x:0:0::/run/sshd:/bin/sh\n")
    pathlib.Path("/etc/group").write_text("root:x:0:\n")
    pathlib.Path("/etc/hosts").write_text("127.0.0.1 localhost\n")
    pathlib.Path("/run/sshd_config").write_text(SSHD)
    INSTALLED.write_bytes(CONFIGURATION.read_bytes())


def allow_setgroups():
    """Makes setgroups() succeed without an effect: sshd requires it, but an ordinary user's namespace does
    not permit it."""
    seccomp = ctypes.CDLL("libseccomp.so.2")
    allow, succeed = 0x7FFF0000, 0x00050000
    seccomp.seccomp_init.restype = ctypes.c_void_p
    rules = ctypes.c_void_p(seccomp.seccomp_init(ctypes.c_uint32(allow)))
    number = seccomp.seccomp_syscall_resolve_name(b"setgroups")
    if seccomp.seccomp_rule_add(rules, ctypes.c_uint32(succeed), number, 0) or seccomp.seccomp_load(rules):
        raise OSError("seccomp")


def main():
    print("namespaces", flush=True)
    sys.stdin.readline()
    lay_out()
    os.environ["LLVM_PROFILE_FILE"] = "/dev/null"
    os.environ["PATH"] = f"{TOOLS}:{os.environ['PATH']}"
    subprocess.run([TOOLS / "timeout", "-", "-", PROGRAM, "apply"], check=True)
    allow_setgroups()
    os.execv("/usr/sbin/sshd", ["/usr/sbin/sshd", "-D", "-e", "-f", "/run/sshd_config"])


main()
