"""User-mode Linux: a kernel that is an ordinary process. It needs neither privileges nor the network."""

import contextlib
import itertools
import os
import random
import shutil
import subprocess

from launcher.gateway import SOURCE
from launcher.errors import CannotBoot, NotInstalled
from launcher.wires import Wires

PROGRAM = "linux.uml"
MODULES = "/usr/lib/uml/modules"
MEMORY_MIB = 384


def memory_directory(fallback):
    """Returns a directory for the gateway's memory file: with enough space, and not mounted noexec."""
    for directory in ("/dev/shm", fallback):
        with contextlib.suppress(OSError):
            status = os.statvfs(directory)
            available = status.f_bavail * status.f_frsize
            if (
                available > 2 * MEMORY_MIB * 1024 * 1024
                and not status.f_flag & os.ST_NOEXEC
                and os.access(directory, os.W_OK)
            ):
                return str(directory)
    directories = f"Neither /dev/shm nor {os.environ.get('TMPDIR', '/tmp')}"
    raise CannotBoot(
        f"{directories} has {2 * MEMORY_MIB} MB free on a file system without noexec",
        "Free some space there, or set TMPDIR to another directory",
    )


def compile_xstate(library):
    """Compiles the library that makes the kernel run on every processor. A gateway may run before any build,
    so the library is compiled here."""
    command = ["cc", "-shared", "-fPIC", "-O1", "-o", library, SOURCE / "launcher/xstate.c"]
    done = subprocess.run(command, stderr=subprocess.PIPE, text=True, check=False)
    if done.returncode != 0:
        lines = done.stderr.strip().splitlines()
        error = next((line for line in lines if "error" in line or "failed" in line), "no message")
        raise CannotBoot(f"cc failed: {error}", "Check that cc works and has disk space")


QEMU_INSTEAD = "use QEMU: run scripts/install-packages gateway-qemu and set GATEWAY=qemu"


class UserModeLinux:
    """Boots gateways with User-mode Linux."""

    name = "User-mode Linux"
    slowness = 1
    def __init__(self, directory, _janitor, may_fetch=True):
        for program in (PROGRAM, "cc"):
            if shutil.which(program) is None:
                raise NotInstalled(f"{program} is not installed", "Run: scripts/install-packages gateway")
        self.memory_directory = memory_directory(directory)
        self.library = directory / "xstate.so"
        compile_xstate(self.library)
        self.wires = Wires()
        processors = sorted(os.sched_getaffinity(0))
        self.processors = itertools.cycle(random.sample(processors, len(processors)))

    def lay(self, gateways, cables):
        """Starts carrying packets between the cards of each cable."""
        for cable in cables:
            self.wires.lay(*((gateways[card.gateway].directory / card.socket).resolve() for card in cable))
        self.wires.start()

    def command(self, gateway, environment):
        """Returns the kernel's command line, its environment, and the stream for its output."""
        console, output = gateway.console.write_end, gateway.output.write_end
        cards = [
            f"vec{index}:transport=bess,dst={card.socket},vec=0,depth=64,mac={card.mac_address}"
            for index, (card, _) in enumerate(gateway.cables)
        ]
        arguments = [
            f"mem={MEMORY_MIB}M",
            "root=/dev/root",
            "rootfstype=hostfs",
            "rootflags=/",
            "rw",
            f"init={SOURCE}/init",
            f"uml_dir={gateway.directory}",
            "umid=kernel",
            "con=null",
            f"con0=null,fd:{console}",
            "con1=fd:0,fd:1" if gateway.terminal else f"con1=null,fd:{output}",
            "GATEWAY_TERMINAL=tty1",
            f"GATEWAY_MODULES={MODULES}",
            *(f"{name}={value}" for name, value in environment.items()),
            *cards,
        ]
        own_environment = {"TMPDIR": self.memory_directory, "LD_PRELOAD": str(self.library)}
        return [*self.pinned(), PROGRAM, *arguments], own_environment, gateway.console

    def pinned(self):
        """Returns the beginning of a command that runs on one processor. The kernel and its processes take
        turns: to wake the next one on another processor takes longer than the turn."""
        return ["taskset", "--cpu-list", str(next(self.processors))]

    @staticmethod
    def remedy(error):
        """Returns the remedy for an error of booting the kernel."""
        if "check_ptrace" in error:
            return (
                "Allow ptrace (/proc/sys/kernel/yama/ptrace_scope; a container needs more privileges), or "
                + QEMU_INSTEAD
            )
        return f"Instead, {QEMU_INSTEAD}"
