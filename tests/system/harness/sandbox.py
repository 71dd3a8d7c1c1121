"""Runs a test in a sandbox that looks like a separate machine to the program.

The sandbox uses namespaces if the system allows them. The host's files are read-only. /Users,
/tmp, /run and /dev are empty and private. The network is disabled. When the test ends, all
processes and files of the sandbox are removed.

Without namespaces, a preloaded library redirects the private paths to a folder (private_paths.c).
Processes and all other paths are shared with the host, and /Users cannot be limited in size.

Both kinds of sandbox drop root privileges, because file permissions do not apply to root. In
namespaces that root created, the test can first start processes of another user (other_user.py).
"""

import ctypes
import os
import shutil
import signal
import struct
import subprocess
import tempfile

PYTHON = "/usr/bin/python3"
_SEARCH_PATH = "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"
_DISK_SIZE = 64 << 20  # size of /Users in bytes
_PRIVATE = {"dev", "proc", "tmp", "run", "Users"}

# Whether /Users is a small disk that a test may fill. This requires namespaces.
PRIVATE_DISK = os.environ.get("SYSTEM_TEST_PRIVATE_DISK") == "1"

# Required programs and files, with their Debian packages.
_PROGRAMS = {
    "bwrap": "bubblewrap",
    "dbus-daemon": "dbus",
    "openbox": "openbox",
    "umockdev-wrapper": "umockdev",
    "xdotool": "xdotool",
    "xset": "x11-xserver-utils",
    "xterm": "xterm",
    "Xvfb": "xvfb",
}
_FILES = {
    "/usr/lib/python3/dist-packages/gi/__init__.py": "python3-gi",
    "/usr/share/dbus-1/services/org.a11y.Bus.service": "at-spi2-core",
}


def missing_packages():
    """Returns the required packages that are not installed."""
    missing = [package for program, package in _PROGRAMS.items()
               if shutil.which(program, path=_SEARCH_PATH) is None]
    return missing + [package for path, package in _FILES.items() if not os.path.exists(path)]


def _machine():
    """Returns the bwrap arguments that mount the machine's files read-only."""
    arguments = []
    for name in sorted(set(os.listdir("/")) - _PRIVATE):
        path = "/" + name
        if os.path.islink(path):
            arguments += ["--symlink", os.readlink(path), path]
        else:
            arguments += ["--ro-bind-try", path, path]
    return arguments


def has_namespaces():
    """Returns whether the system allows the namespaces that in_namespaces() uses."""
    return subprocess.run(in_namespaces(["true"], [], {}), capture_output=True).returncode == 0


def _usual_environment():
    return {
        "HOME": "/tmp",
        "LANG": "C.UTF-8",
        "PATH": _SEARCH_PATH,
        "PYTHONDONTWRITEBYTECODE": "1",
        "XDG_RUNTIME_DIR": "/run/user",
    }


def in_namespaces(inner, visible, environment):
    """Returns the command that runs `inner`, an argument list, in namespaces.

    `visible` lists paths to show even if they are in a private folder. `environment` is added to
    the default variables.
    """
    arguments = ["bwrap", *_machine(), "--dev", "/dev", "--proc", "/proc"]
    for folder in ("/tmp", "/run"):
        arguments += ["--tmpfs", folder]
    arguments += ["--size", str(_DISK_SIZE), "--tmpfs", "/Users"]
    # Mounted last, because the visible paths may be inside the private folders.
    for path in visible:
        arguments += ["--ro-bind", path, path]
    # libudev assumes that udev is running if this file exists.
    arguments += ["--dir", "/run/udev", "--ro-bind", "/dev/null", "/run/udev/control"]
    arguments += ["--perms", "0700", "--dir", "/run/user"]
    arguments += ["--unshare-pid", "--unshare-net", "--unshare-ipc", "--die-with-parent",
                  "--cap-drop", "ALL", "--clearenv"]
    if os.geteuid() == 0:
        # other_user.start() uses these capabilities before harness.main drops them.
        arguments += ["--cap-add", "CAP_SETUID", "--cap-add", "CAP_SETGID",
                      "--setenv", "SYSTEM_TEST_OTHER_USER", "1"]
    for name, value in {**_usual_environment(), **environment}.items():
        arguments += ["--setenv", name, value]
    return [*arguments, "--", "umockdev-wrapper", *inner]


def run_with_private_paths(inner, visible, environment, library):
    """Runs `inner` with `library` preloaded. Returns the exit status of `inner`."""
    root = tempfile.mkdtemp(prefix="quillet-")
    for folder in ("Users", "tmp", "run/udev", "run/user", "dev"):
        os.makedirs(root + "/" + folder, 0o700)
    os.symlink("/dev/null", root + "/run/udev/control")
    # umockdev's library calls libc directly. It is loaded second, so that it receives redirected
    # paths. The path of umockdev's folder, which is in TMPDIR, is not redirected.
    environment = {**_usual_environment(), **environment, "SYSTEM_TEST_PRELOAD": library,
                   "LD_PRELOAD": f"{library}:libumockdev-preload.so.0", "TMPDIR": root + "/tmp",
                   "PRIVATE_PATHS_ROOT": root, "PRIVATE_PATHS_VISIBLE": ":".join(visible)}
    _libc.prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    process = subprocess.Popen(inner, env=environment, preexec_fn=drop_privileges)
    try:
        return process.wait()
    finally:
        _kill_children()
        subprocess.run(["chmod", "-R", "u+rwX", root], check=False)
        shutil.rmtree(root)


_PR_SET_CHILD_SUBREAPER = 36
_PR_SET_NO_NEW_PRIVS = 38
_CAPABILITY_VERSION = 0x20080522
_libc = ctypes.CDLL(None, use_errno=True)


def drop_privileges():
    """Drops all capabilities, even root's, and prevents the process from gaining new ones."""
    _libc.prctl(_PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)
    if _libc.capset(struct.pack("=Ii", _CAPABILITY_VERSION, 0), bytes(24)) != 0:
        raise OSError(ctypes.get_errno(), "capset")


def _kill_children():
    """Kills all remaining processes of the test. As the subreaper, this process is their parent."""
    while True:
        with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as children:
            for pid in children.read().split():
                os.kill(int(pid), signal.SIGKILL)
        try:
            os.wait()
        except ChildProcessError:
            return
