"""A program for `lanfab preview --program` that tries to leave the sandbox. It prints the result of each
attempt as JSON: an error, or null if the attempt succeeded.

boundary_test.py prepends an interpreter line and sets TARGETS, the files and processes outside the sandbox.
The attempts do not change them.
"""

import contextlib
import ctypes
import errno
import fcntl
import json
import os
import platform
import re
import socket
import stat

TARGETS = {}
TIOCSTI = 0x5412
CLONE_NEWUSER = 0x10000000
AF_VSOCK = 40
MACHINE = "/.sandbox/real"
# The capabilities of a run, as a bit mask: CHOWN, DAC_OVERRIDE, FOWNER and NET_ADMIN.
CAPABILITIES = 0x100B
# System call numbers: on x86-64, and on ARM and other newer architectures.
CALLS = {
    "add_key": (248, 217),
    "bpf": (321, 280),
    "finit_module": (313, 273),
    "init_module": (175, 105),
    "io_uring_setup": (425, 425),
    "kexec_load": (246, 104),
    "keyctl": (250, 219),
    "mount": (165, 40),
    "move_mount": (429, 429),
    "open_by_handle_at": (304, 265),
    "open_tree": (428, 428),
    "perf_event_open": (298, 241),
    "pidfd_getfd": (438, 438),
    "process_vm_readv": (310, 270),
    "ptrace": (101, 117),
    "setns": (308, 268),
    "userfaultfd": (323, 282),
}
libc = ctypes.CDLL(None, use_errno=True)


def check(result):
    """Raises the error of a failed call."""
    if result < 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def call(name):
    """Makes a system call with invalid arguments: only a denial counts as an error."""
    try:
        # Invalid flags of kexec_load: as root, a valid call without segments would unload a kernel.
        check(libc.syscall(CALLS[name][platform.machine() != "x86_64"], 0, 0, 0, -1, 0, 0))
    except OSError as error:
        if error.errno in (errno.EPERM, errno.ENOSYS):
            raise


def anywhere(attempt, path):
    """Makes an attempt with a path and, if it fails, with the path below the machine's root directory."""
    try:
        attempt(path)
    except OSError:
        attempt(MACHINE + path)


def connect(path):
    with socket.socket(socket.AF_UNIX) as client:
        client.connect(path)


def look(path):
    """Reads a byte of a file or lists a directory."""
    if os.path.isdir(path):
        os.listdir(path)
    else:
        with open(path, "rb") as file:
            file.read(1)


def write_back(path):
    """Writes the content of a file back."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def find_sockets():
    """Searches for a socket of the machine; raises FileNotFoundError if there is none."""
    skipped = ("/proc", "/usr", f"{MACHINE}/usr")
    for parent, directories, names in os.walk("/"):
        directories[:] = [name for name in directories if os.path.join(parent, name) not in skipped]
        for name in names:
            path = os.path.join(parent, name)
            with contextlib.suppress(FileNotFoundError):
                if stat.S_ISSOCK(os.lstat(path).st_mode) and path != "/dev/log":
                    return
    raise FileNotFoundError("no socket")


def see_process(marker):
    for name in os.listdir("/proc"):
        if name.isdigit() and int(name) != os.getpid():
            with open(f"/proc/{name}/cmdline", "rb") as file:
                if marker.encode() in file.read():
                    return
    raise ProcessLookupError("no process has the marker")


def type_into(terminal):
    descriptor = os.open(terminal, os.O_RDWR | os.O_NOCTTY)
    fcntl.ioctl(descriptor, TIOCSTI, b"#")


def type_into_streams():
    """Types a character into an inherited terminal."""
    for descriptor in range(20):
        try:
            fcntl.ioctl(descriptor, TIOCSTI, b"#")
            return
        except OSError:
            pass
    raise OSError(errno.ENOTTY, "no terminal")


def has_a_file():
    """Searches for inherited file descriptors except the standard streams."""
    own = [os.path.realpath(__file__), "/proc/"]
    for number in os.listdir("/proc/self/fd"):
        with contextlib.suppress(FileNotFoundError):
            if int(number) > 2 and not os.readlink(f"/proc/self/fd/{number}").startswith(tuple(own)):
                return
    raise OSError(errno.EBADF, "only three streams")


def has_capabilities():
    with open("/proc/self/status", encoding="utf-8") as file:
        sets = re.findall(r"^Cap\w+:\s+(\w+)$|^NoNewPrivs:\s+(0)$", file.read(), re.M)
    if not any(new or int(names, 16) & ~CAPABILITIES for names, new in sets):
        raise PermissionError("only those that a run needs")


def make_device():
    os.mknod("/tmp/device", stat.S_IFBLK | 0o600, os.makedev(8, 0))
    os.unlink("/tmp/device")


def make_user_namespace():
    if os.fork() == 0:
        os._exit(libc.unshare(CLONE_NEWUSER) != 0)
    if os.wait()[1] != 0:
        raise PermissionError("unshare")


def attempts():
    """Yields the name and the function of each attempt."""
    for path in TARGETS["files"]:
        yield f"read {path}", lambda path=path: anywhere(look, path)
    for path in TARGETS["sockets"]:
        yield f"connect to {path}", lambda path=path: anywhere(connect, path)
    yield "connect to an abstract socket", lambda: connect(f"\0{TARGETS['abstract']}")
    yield "find a socket", find_sockets
    for path in TARGETS["settings"]:
        yield f"write {path}", lambda path=path: anywhere(write_back, path)
    for path in ("/dev/tty", TARGETS["terminal"]):
        yield f"type into {path}", lambda path=path: anywhere(type_into, path)
    yield "type into a stream", type_into_streams
    yield "have a file", has_a_file
    yield "see a process", lambda: see_process(TARGETS["marker"])
    yield "signal a process", lambda: os.kill(TARGETS["process"], 0)
    yield "have capabilities", has_capabilities
    yield "make a device", make_device
    yield "make a user namespace", make_user_namespace
    yield "reach the host of a virtual machine", lambda: socket.socket(AF_VSOCK, socket.SOCK_STREAM)
    yield "ask the kernel's other interfaces", lambda: socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 15)
    for name in CALLS:
        yield f"call {name}", lambda name=name: call(name)


def outcome(attempt):
    try:
        attempt()
    except OSError as error:
        return str(error)
    return None


if __name__ == "__main__":
    with open("/proc/self/uid_map", encoding="utf-8") as users:
        print(json.dumps({"user": os.getuid(), "users": users.read().split(),
                          "attempts": {name: outcome(attempt) for name, attempt in attempts()}}))
