"""The sandbox in which a test runs: a machine of its own as far as the program can tell.

Its files are the machine's, read-only, but for /Users, /tmp, /run and /dev, which are its own and
empty. It has no network, sees no process but its own, and when it ends, however it ends, nothing
that was started in it remains and nothing that was written in it is kept. It needs no privilege;
where the test has the administrator's, the sandbox gives it up, so that files have permissions.
"""

import os
import shutil
import subprocess

PYTHON = "/usr/bin/python3"
_SEARCH_PATH = "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin"
_ROOM = 64 << 20  # bytes for /Users, so that a disk can be full
_OWN = {"dev", "proc", "tmp", "run", "Users"}

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
_FILES = {"/usr/share/dbus-1/services/org.a11y.Bus.service": "at-spi2-core"}
_IMPORTS = {
    "import gi": "python3-gi",
    "import gi; gi.require_version('UMockdev', '1.0')": "gir1.2-umockdev-1.0",
    "import tkinter": "python3-tk",
}


def missing_packages():
    """The packages without which no test can run."""
    missing = [package for program, package in _PROGRAMS.items()
               if shutil.which(program, path=_SEARCH_PATH) is None]
    missing += [package for path, package in _FILES.items() if not os.path.exists(path)]
    for statement, package in _IMPORTS.items():
        if subprocess.run([PYTHON, "-c", statement], capture_output=True).returncode != 0:
            missing.append(package)
    return missing


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


def command(inner, visible, environment):
    """The command that runs `inner`, a list of words, in a sandbox.

    `visible` are paths that must be there, `environment` are variables besides the usual ones.
    """
    arguments = ["bwrap", *_machine(), "--dev", "/dev", "--proc", "/proc"]
    for folder in ("/tmp", "/run"):
        arguments += ["--tmpfs", folder]
    arguments += ["--size", str(_ROOM), "--tmpfs", "/Users"]
    # These may lie in one of the folders that were just hidden.
    for path in visible:
        arguments += ["--ro-bind", path, path]
    # udev is told by its socket.
    arguments += ["--dir", "/run/udev", "--ro-bind", "/dev/null", "/run/udev/control"]
    arguments += ["--perms", "0700", "--dir", "/run/user"]
    arguments += ["--unshare-pid", "--unshare-net", "--unshare-ipc", "--die-with-parent",
                  "--cap-drop", "ALL", "--clearenv"]
    usual = {
        "HOME": "/tmp",
        "LANG": "C.UTF-8",
        "PATH": _SEARCH_PATH,
        "PYTHONDONTWRITEBYTECODE": "1",
        "XDG_RUNTIME_DIR": "/run/user",
    }
    for name, value in {**usual, **environment}.items():
        arguments += ["--setenv", name, value]
    return [*arguments, "--", "umockdev-wrapper", *inner]
