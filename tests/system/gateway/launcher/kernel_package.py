"""The distribution's own kernel for QEMU: downloaded once and unpacked, but not installed."""

import contextlib
import lzma
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile

from launcher.cache import cache_directory, download, fetch_once, output_of
from launcher.gateway import SOURCE
from launcher.errors import CannotBoot, NotInstalled

# The packages that depend on the newest kernel: Ubuntu's and Debian's.
LATEST = ("linux-image-virtual", "linux-image-amd64", "linux-image-arm64")
# The kernel, and the modules that a gateway may need, which are few of hundreds of megabytes.
WANTED = re.compile(
    r"(?:\./)?(?:usr/)?(?P<target>boot/vmlinuz-[^/]+"
    r"|lib/modules/[^/]+/modules\.(?:order|builtin|builtin\.modinfo)"
    r"|lib/modules/[^/]+/kernel/"
    r"(?:net|lib|crypto|arch|fs/(?:9p|netfs|fscache|overlayfs)"
    r"|drivers/(?:virtio|char|net/[^/]+\.ko|net/wireguard)).*)"
)
# The modules for mounting the machine's root, and for the cards, which udev does not load.
FIRST_MODULES = ("virtio_pci", "9pnet_virtio", "9p", "virtio_console", "virtio_net")
UNPACKED_MIB = 200


def dependencies(package):
    """Returns the kernel packages that a package depends on; an empty list if there is no such package."""
    with contextlib.suppress(subprocess.CalledProcessError):
        text = output_of("apt-cache", "depends", package)
        return re.findall(r"Depends: (linux-(?:image|modules)-\d\S*)", text)
    return []


def packages():
    """Returns the names of the packages with the newest kernel and its modules."""
    image = next((name for latest in LATEST for name in dependencies(latest)), None)
    if image is None:
        raise CannotBoot("apt has no kernel package for QEMU", "As root: apt-get update")
    return [image, *(name for name in dependencies(image) if name.startswith("linux-modules-"))]


def unpack(package, directory):
    """Unpacks the required files of a package."""
    command = ["dpkg-deb", "--fsys-tarfile", package]
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL) as unpacking:
        with tarfile.open(fileobj=unpacking.stdout, mode="r|") as archive:
            for member in archive:
                match = WANTED.fullmatch(member.name)
                if match and member.isfile():
                    target = directory / match["target"]
                    target.parent.mkdir(parents=True, exist_ok=True)
                    with target.open("wb") as file:
                        shutil.copyfileobj(archive.extractfile(member), file)


def fetch(target):
    """Downloads and unpacks the kernel; creates `target` completely or not at all."""
    names = packages()
    print(f"Downloading the kernel for QEMU, once: {' '.join(names)}", file=sys.stderr)
    with tempfile.TemporaryDirectory(dir=target.parent) as working:
        download(names, working)
        unpacked = pathlib.Path(working, "unpacked")
        for package in pathlib.Path(working).glob("*.deb"):
            unpack(package, unpacked)
        for release in (unpacked / "lib/modules").iterdir():
            output_of("depmod", "-b", unpacked, release.name)
        unpacked.rename(target)


class KernelPackage:
    """The unpacked kernel: `image`, `modules` (a directory of releases) and `release`."""

    def __init__(self, may_fetch):
        target = cache_directory() / "kernel"
        if not target.exists():
            if not may_fetch:
                raise NotInstalled("The kernel for QEMU is not downloaded yet", "Boot a gateway first")
            fetch_once(target, fetch, "The kernel for QEMU", UNPACKED_MIB)
        self.image = next((target / "boot").iterdir())
        self.modules = target / "lib/modules"
        self.release = next(self.modules.iterdir()).name

    def _first_modules(self):
        """Returns the files of FIRST_MODULES and of their dependencies, in load order."""
        base = self.modules.parents[1]
        files = {}
        for name in FIRST_MODULES:
            text = output_of("modprobe", "-d", base, "-S", self.release, "--show-depends", name)
            files.update(dict.fromkeys(re.findall(r"^insmod (\S+)", text, re.MULTILINE)))
        return [pathlib.Path(file) for file in files]

    def write_initramfs(self, directory):
        """Writes the initial RAM file system; returns the file."""
        root = directory / "initramfs"
        (root / "modules").mkdir(parents=True)
        shutil.copy(SOURCE / "qemu-init", root / "init")
        for index, module in enumerate(self._first_modules()):
            name = re.sub(r"\.(xz|zst)$", "", module.name)
            (root / f"modules/{index:02}-{name}").write_bytes(decompressed(module))
        install_program("busybox", root)
        names = [f"{path.relative_to(root)}\n" for path in sorted(root.rglob("*"))]
        file = directory / "initramfs.cpio"
        with file.open("wb") as target:
            command = ["cpio", "--quiet", "--create", "--format=newc", "--owner=0:0"]
            subprocess.run(command, cwd=root, input="".join(names).encode(), stdout=target, check=True)
        return file


def decompressed(module):
    """Returns the contents of a module, which busybox cannot decompress."""
    if module.suffix == ".xz":
        return lzma.decompress(module.read_bytes())
    if module.suffix == ".zst":
        return subprocess.run(["zstd", "-dcq", module], stdout=subprocess.PIPE, check=True).stdout
    return module.read_bytes()


def install_program(name, root):
    """Copies a program to /bin, and its libraries to their directories."""
    program = shutil.which(name)
    (root / "bin").mkdir()
    shutil.copy(program, root / "bin")
    libraries = subprocess.run(["ldd", program], stdout=subprocess.PIPE, text=True, check=False).stdout
    for library in re.findall(r"(/\S+)", libraries):
        (root / library[1:]).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(library, root / library[1:])
