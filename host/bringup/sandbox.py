"""The bubblewrap command lines: of the device, and of a confined helper outside it."""

import os
import re
import subprocess

from bringup.errors import BringupError

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.realpath(__file__))))

# Where the programs are; another build tree (sanitizers) can be named for development.
BUILD = os.path.abspath(os.environ.get("TARNWATCH_BUILD") or os.path.join(ROOT, "build", "release"))

APPLICATION = "/usr/local/packages/ktw"
DEVICE = "/run/device"
PROGRAMS = f"{DEVICE}/bin"
PICTURES = f"{DEVICE}/pictures"

# What runs inside a device beside the application, commands for persons included.
_PROGRAMS = ["video", "plinth", "analytics", "rules", "overlay"]

# An ordinary user of its own makes root and other callers the same inside: servers drop no privileges.
_USER = ["--unshare-user", "--uid", "1000", "--gid", "1000", "--cap-drop", "ALL"]


def device(state: str, pictures: str | None, command: list[str]) -> list[str]:
    """bwrap's command line for a device with `command` as its first process; `pictures` is a folder to
    keep pictures in. It is not killed with its parent: it sees the end of its channel and stops in
    order."""
    return [
        "bwrap",
        *_bind("--ro-bind", "/", "/"), "--dev", "/dev", "--proc", "/proc",
        "--perms", "1777", "--tmpfs", "/tmp", "--tmpfs", "/run", *_usr_local(),
        *_bind("--bind", os.path.join(state, "localdata"), f"{APPLICATION}/localdata"),
        *_bind("--ro-bind", os.path.join(BUILD, "bin", "tarnwatch"), f"{APPLICATION}/tarnwatch"),
        *_bind("--ro-bind", os.path.join(BUILD, "lib"), f"{APPLICATION}/lib"),
        "--dir", "/run/dbus", "--dir", "/run/plinth", "--dir", "/run/video", "--symlink", f"{DEVICE}/log", "/dev/log",
        *_bind("--bind", state, f"{DEVICE}/state"),
        *(_bind("--bind", pictures, PICTURES) if pictures else []),
        *_bind("--ro-bind", os.path.join(ROOT, "host", "bringup"), f"{DEVICE}/bringup"),
        *_bind("--ro-bind", os.path.join(ROOT, "host", "conf"), f"{DEVICE}/conf"),
        *_bind("--ro-bind", os.path.join(ROOT, "web"), f"{DEVICE}/web"),
        *_programs(_PROGRAMS), *_names(),
        *_USER, "--unshare-pid", "--as-pid-1", "--unshare-ipc", "--unshare-net", "--unshare-uts",
        "--hostname", "tarnwatch", "--chdir", "/", *command,
    ]  # fmt: skip


def confined(command: list[str], network: bool = False) -> list[str]:
    """bwrap's command line for one program of ours that gets nothing but its descriptors, and the
    network if asked; it ends with its parent."""
    names = ["--ro-bind-try", "/etc/resolv.conf", "/etc/resolv.conf", "--ro-bind-try", "/etc/hosts", "/etc/hosts",
             "--ro-bind-try", "/etc/nsswitch.conf", "/etc/nsswitch.conf", "--share-net"]  # fmt: skip
    folders = ["/usr", "/etc/ssl", "/etc/alternatives"]
    return [
        "bwrap", "--unshare-all", *(names if network else []), "--die-with-parent", "--new-session", *_USER,
        *[part for folder in folders for part in ("--ro-bind-try", folder, folder)],
        *[part for link in ("bin", "lib", "lib64", "sbin") for part in ("--symlink", f"usr/{link}", f"/{link}")],
        "--ro-bind-try", "/etc/ld.so.cache", "/etc/ld.so.cache", "--proc", "/proc", "--dev", "/dev",
        *_programs([command[0]]),
        "--clearenv", "--setenv", "LANG", "C.UTF-8", "--chdir", "/",
        f"{PROGRAMS}/{command[0]}", *command[1:],
    ]  # fmt: skip


def _bind(kind: str, source: str, target: str) -> list[str]:
    return [kind, source, target]


def _usr_local() -> list[str]:
    """An empty /usr/local for the device's packages, with what the machine has there beside them."""
    shown = ["--tmpfs", "/usr/local"]
    for name in sorted(os.listdir("/usr/local")):
        if name != "packages":
            shown += ["--ro-bind-try", f"/usr/local/{name}", f"/usr/local/{name}"]
    return shown


def _programs(names: list[str]) -> list[str]:
    """Programs of ours, with their libraries beside them."""
    shown = _bind("--ro-bind", os.path.join(BUILD, "lib"), f"{DEVICE}/lib")
    for name in names:
        shown += _bind("--ro-bind", os.path.join(BUILD, "bin", name), f"{PROGRAMS}/{name}")
    return shown


def _names() -> list[str]:
    """The device's own accounts and host names, where the machine has such files to put them over."""
    return [
        part
        for name in ("passwd", "group", "hosts")
        if os.path.exists(f"/etc/{name}")
        for part in _bind("--ro-bind", os.path.join(ROOT, "host", "conf", name), f"/etc/{name}")
    ]


def require() -> None:
    """Raises with one line and the cure when a sandbox cannot be made here or there is nothing to put in it."""
    for program in ("tarnwatch", "plinth-reader", *_PROGRAMS):
        if not os.path.exists(os.path.join(BUILD, "bin", program)):
            raise BringupError(f"{os.path.join(BUILD, 'bin', program)} is missing: run without --no-build")
    command = ["bwrap", "--ro-bind", "/", "/", "--dev", "/dev", "--proc", "/proc", *_USER,
               "--unshare-pid", "--unshare-ipc", "--unshare-net", "/bin/true"]  # fmt: skip
    try:
        probe = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True, errors="replace")
    except FileNotFoundError:
        raise BringupError("bwrap is missing: run without --no-install, or install bubblewrap") from None
    if probe.returncode != 0:
        reason = " ".join(re.sub(r"^bwrap: ", "", probe.stderr.strip()).split()) or f"status {probe.returncode}"
        raise BringupError(f"no sandbox: {reason}; cure: {_cure()}")


def _cure() -> str:
    if _setting("kernel/unprivileged_userns_clone") == "0":
        return "sudo sysctl -w kernel.unprivileged_userns_clone=1"
    if _setting("user/max_user_namespaces") == "0":
        return "sudo sysctl -w user.max_user_namespaces=15000"
    if _setting("kernel/apparmor_restrict_unprivileged_userns") == "1":
        return "sudo sysctl -w kernel.apparmor_restrict_unprivileged_userns=0"
    return ("user namespaces are refused here; allow them, in a container with "
            "--security-opt seccomp=unconfined --security-opt systempaths=unconfined or --privileged")  # fmt: skip


def _setting(name: str) -> str | None:
    try:
        with open(f"/proc/sys/{name}", encoding="ascii") as file:
            return file.read().strip()
    except OSError:
        return None
