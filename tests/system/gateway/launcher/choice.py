"""Selects the kernel of a gateway."""

import os
import shutil
import sys

from launcher import uml
from launcher.qemu import Qemu
from launcher.errors import CannotBoot

KERNELS = {"uml": uml.UserModeLinux, "qemu": Qemu}


def choose_kernel(directory, janitor, probing=False):
    """Returns the kernel for gateways on this machine; prints its name.

    The default is User-mode Linux if scripts/install-packages has installed it, otherwise QEMU. The
    environment variable GATEWAY overrides this.
    """
    name = os.environ.get("GATEWAY") or ("uml" if shutil.which(uml.PROGRAM) else "qemu")
    if name not in KERNELS:
        raise CannotBoot(f"GATEWAY={name} is invalid", f"Set it to one of: {', '.join(KERNELS)}")
    kernel = KERNELS[name](directory, janitor, may_fetch=not probing)
    if not probing:
        print(f"Gateway: {kernel.name}", file=sys.stderr)
    return kernel
