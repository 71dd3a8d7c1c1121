"""The sandbox of a test: to the program, a separate machine.

In namespaces, if the system allows them: the machine's files are read-only; /Users, /tmp, /run and
/dev are empty and private. There is no network. When the sandbox ends, all processes and files in
it are removed.

Elsewhere, with a preloaded library that redirects those paths into a folder (see private_paths.c).
Processes and the rest of the machine are shared then, and /Users has no size of its own.

Neither needs a privilege, and both drop those of an administrator, so that files have permissions.
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
_ROOM = 64 << 20  # bytes for /Users, so that a disk can be full
_OWN = {"dev", "proc", "tmp", "run", "Users"}

# Set for tests in namespaces only: /Users is a disk that can be filled without harm.
PRIVATE_DISK = os.environ.get("SYSTEM_TEST_PRIVATE_DISK") == "1"

# What has to be installed, and Debian's package of it.
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
    """The packages without which no test can run."""
    missing = [package for program, package in _PROGRAMS.items()
               if shutil.which(program, path=_SEARCH_PATH) is None]
    return missing + [package for path, package in _FILES.items() if not os.path.exists(path)]


def _machine():
    """Arguments that show the machine's files, read-only."""
    arguments = []
    for name in sorted(set(os.listdir("/")) - _OWN):
        path = "/" + name
        if os.path.islink(path):
            arguments += ["--symlink", os.readlink(path), path]
        else:
            arguments += ["--ro-bind-try", path, path]
    return arguments


def has_namespaces():
    """Whether the system allows what in_namespaces() needs."""
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
    """The command that runs `inner`, a list of words, in namespaces.

    `visible` are paths that must be there, `environment` are variables besides the usual ones.
    """
    arguments = ["bwrap", *_machine(), "--dev", "/dev", "--proc", "/proc"]
    for folder in ("/tmp", "/run"):
        arguments += ["--tmpfs", folder]
    arguments += ["--size", str(_ROOM), "--tmpfs", "/Users"]
    # These may lie in one of the folders that were just hidden.
    for path in visible:
        arguments += ["--ro-bind", path, path]
    # libudev detects udev by its socket.
    arguments += ["--dir", "/run/udev", "--ro-bind", "/dev/null", "/run/udev/control"]
    arguments += ["--perms", "0700", "--dir", "/run/user"]
    arguments += ["--unshare-pid", "--unshare-net", "--unshare-ipc", "--die-with-parent",
                  "--cap-drop", "ALL", "--clearenv"]
    for name, value in {**_usual_environment(), **environment}.items():
        arguments += ["--setenv", name, value]
    return [*arguments, "--", "umockdev-wrapper", *inner]


def run_with_private_paths(inner, visible, environment, library):
    """Runs `inner` with the preloaded library; returns its exit status."""
    root = tempfile.mkdtemp(prefix="quillet-")
    for folder in ("Users", "tmp", "run/udev", "run/user", "dev"):
        os.makedirs(root + "/" + folder, 0o700)
    os.symlink("/dev/null", root + "/run/udev/control")
    # umockdev calls libc directly: its library comes second, its folder gets no redirected path.
    environment = {**_usual_environment(), **environment, "SYSTEM_TEST_PRELOAD": library,
                   "LD_PRELOAD": f"{library}:libumockdev-preload.so.0", "TMPDIR": root + "/tmp",
                   "PRIVATE_PATHS_ROOT": root, "PRIVATE_PATHS_VISIBLE": ":".join(visible)}
    _adopt_orphans()
    process = subprocess.Popen(inner, env=environment, preexec_fn=_drop_privileges)
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


def _drop_privileges():
    """Not even a program started by the administrator gets a capability after this."""
    _libc.prctl(_PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)
    if _libc.capset(struct.pack("=Ii", _CAPABILITY_VERSION, 0), bytes(24)) != 0:
        raise OSError(ctypes.get_errno(), "capset")


def _adopt_orphans():
    _libc.prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def _kill_children():
    """Ends all processes that the test has left, each of which is a child sooner or later."""
    while True:
        with open(f"/proc/self/task/{os.getpid()}/children", encoding="ascii") as children:
            for pid in children.read().split():
                os.kill(int(pid), signal.SIGKILL)
        try:
            os.wait()
        except ChildProcessError:
            return
