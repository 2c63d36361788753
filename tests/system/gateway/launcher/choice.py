"""Which kernel a gateway boots with."""

import os
import shutil
import sys

from launcher import uml
from launcher.qemu import Qemu
from launcher.trouble import CannotBoot

KERNELS = {"uml": uml.UserModeLinux, "qemu": Qemu}


def choose_kernel(directory, janitor, probing=False):
    """Returns what boots gateways on this machine and prints its name.

    User-mode Linux where it is installed, which scripts/install-packages decides; otherwise QEMU. The
    variable GATEWAY overrides this.
    """
    name = os.environ.get("GATEWAY") or ("uml" if shutil.which(uml.PROGRAM) else "qemu")
    if name not in KERNELS:
        raise CannotBoot(f"GATEWAY is {name!r}", f"Set it to one of: {', '.join(KERNELS)}")
    kernel = KERNELS[name](directory, janitor, may_fetch=not probing)
    if not probing:
        print(f"Gateway: {kernel.name}", file=sys.stderr)
    return kernel
