"""QEMU: a virtual machine with the distribution's own kernel, for systems without User-mode Linux."""

import dataclasses
import os
import pathlib
import platform
import shutil

from launcher.cache import cache_directory
from launcher.gateway import probe
from launcher.kernel_package import KernelPackage
from launcher.errors import CannotBoot, NotInstalled

MEMORY_MIB = 512
KVM = "/dev/kvm"
# Limits the translated code, of which QEMU would keep up to 1 GB; with this limit, a gateway takes 410 MB.
TCG = "tcg,tb-size=128"
# Time limit in seconds: some machines have a /dev/kvm with which the guest hangs.
KVM_PATIENCE = 5
SHARE = "trans=virtio,version=9p2000.L,msize=512000"


@dataclasses.dataclass
class Machine:
    """The properties of a processor type."""

    program: str
    options: tuple[str, ...]
    console: str


MACHINES = {
    "x86_64": Machine("qemu-system-x86_64", ("-machine", "pc", "-cpu", "max"), "ttyS0"),
    "aarch64": Machine("qemu-system-aarch64", ("-machine", "virt,gic-version=max", "-cpu", "max"), "ttyAMA0"),
}


def escape(path):
    """Returns a path escaped as the value of an option, which a comma would end."""
    return str(path).replace(",", ",,")


def share(name, path, read_only=False):
    """Returns the options for a directory of the machine that the gateway can mount."""
    settings = "security_model=none,multidevs=remap" + (",readonly=on" if read_only else "")
    return (
        *("-fsdev", f"local,id={name},path={escape(path)},{settings}"),
        *("-device", f"virtio-9p-pci,fsdev={name},mount_tag={name}"),
    )


def network_card(index, card, far_card):
    """Returns the options for a card; QEMU itself carries its packets to the other end of the cable."""
    sockets = f"local.type=unix,local.path={card.socket},remote.type=unix,remote.path={far_card.socket}"
    return (
        *("-netdev", f"dgram,id=card{index},{sockets}"),
        *("-device", f"virtio-net-pci,netdev=card{index},mac={card.mac_address},romfile="),
    )


class Qemu:
    """Boots gateways with QEMU."""

    def __init__(self, directory, janitor, may_fetch=True):
        self.machine = MACHINES.get(platform.machine())
        if self.machine is None:
            raise CannotBoot(
                f"The gateway does not support the processor type {platform.machine()}",
                "Use a 64-bit PC or a 64-bit ARM machine",
            )
        for program in (self.machine.program, "cpio", "modprobe", "busybox"):
            if shutil.which(program) is None:
                remedy = "Run: scripts/install-packages gateway-qemu"
                raise NotInstalled(f"{program} is not installed", remedy)
        self.package = KernelPackage(may_fetch)
        self.initramfs = self.package.write_initramfs(directory)
        self.accelerated = True
        self.accelerated = self._is_kvm_usable(directory, janitor)

    @property
    def name(self):
        return "QEMU with KVM" if self.accelerated else "QEMU, emulated: slower"

    @property
    def slowness(self):
        """The factor for time limits, relative to User-mode Linux."""
        return 1 if self.accelerated else 4

    def _is_kvm_usable(self, directory, janitor):
        """Returns whether a kernel boots with KVM; tries it once for each boot of the machine."""
        if not os.access(KVM, os.R_OK | os.W_OK):
            return False
        boot = pathlib.Path("/proc/sys/kernel/random/boot_id").read_text(encoding="ascii").strip()
        known = cache_directory() / "kvm"
        if known.exists() and known.read_text(encoding="ascii").split()[:1] == [boot]:
            return known.read_text(encoding="ascii").split()[1:] == ["works"]
        works = probe(self, directory / "kvm", janitor, KVM_PATIENCE) is None
        known.write_text(f"{boot} {'works' if works else 'fails'}\n", encoding="ascii")
        return works

    def lay(self, gateways, cables):
        """Does nothing: QEMU itself sends packets to the socket at the other end of a cable."""

    def command(self, gateway, environment):
        """Returns the command line, its environment, and the stream for its output."""
        shares = [*share("root", "/", read_only=True), *share("shared", gateway.shared)]
        if gateway.files.disk:
            shares += share("disk", gateway.files.disk)
        cards = [
            option
            for index, (card, far_card) in enumerate(gateway.cables)
            for option in network_card(index, card, far_card)
        ]
        arguments = [
            *("-nodefaults", "-no-user-config", "-display", "none", "-no-reboot", "-m", str(MEMORY_MIB)),
            *(*self.machine.options, "-accel", "kvm" if self.accelerated else TCG),
            *("-kernel", self.package.image, "-initrd", self.initramfs),
            *("-append", self._kernel_arguments(environment)),
            *self._consoles(gateway),
            *shares,
            *cards,
        ]
        return [self.machine.program, *arguments], {}, gateway.console

    @staticmethod
    def _consoles(gateway):
        """Returns the options for the kernel's console and for the terminal of the gateway's task."""
        terminal = f"file,id=terminal,path=/dev/fd/{gateway.output.write_end}"
        if gateway.terminal:
            terminal = "stdio,id=terminal,signal=off"
        return (
            *("-chardev", f"file,id=console,path=/dev/fd/{gateway.console.write_end}"),
            *("-serial", "chardev:console", "-chardev", terminal),
            *("-device", "virtio-serial-pci", "-device", "virtconsole,chardev=terminal"),
        )

    def _kernel_arguments(self, environment):
        variables = {
            "GATEWAY_9P_ROOT": f"ro,cache=loose,{SHARE}",
            "GATEWAY_9P": f"cache=mmap,{SHARE}",
            "GATEWAY_TERMINAL": "hvc0",
            "GATEWAY_MODULES": self.package.modules,
            **environment,
        }
        # The launcher names the cards, not udev; this kernel need not resist attacks.
        fixed = (
            f"console={self.machine.console} loglevel=5 panic=-1 "
            "net.ifnames=0 mitigations=off no_timer_check"
        )
        return " ".join((fixed, *(f"{name}={value}" for name, value in variables.items())))

    @staticmethod
    def remedy(_reason):
        """Returns the remedy for an error of booting the kernel."""
        return f"Remove {cache_directory()}: the next gateway downloads the kernel again"
