"""Creates the Debian package with umask 077 and checks it: debian_package.py CPACK BUILD

Checks the permissions of all files, and that the program is protected against memory errors.
"""

import os
import pathlib
import platform
import re
import subprocess
import sys
import tarfile
import tempfile

# The bytes of the instruction endbr64. With -fcf-protection, each function that can be called
# indirectly begins with this instruction.
ENDBR64 = b"\xf3\x0f\x1e\xfa"


def output(*command):
    """Runs a command and returns its output."""
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def wrong_modes(package):
    """Returns the package's entries that have an unexpected owner or unexpected permissions."""
    process = subprocess.run(["dpkg-deb", "--fsys-tarfile", package], capture_output=True, check=True)
    with tempfile.TemporaryFile() as file:
        file.write(process.stdout)
        file.seek(0)
        entries = tarfile.open(fileobj=file).getmembers()
    errors = []
    for entry in entries:
        program = entry.name == "./usr/bin/quillet"
        mode = 0o755 if entry.isdir() or program else 0o644
        if (entry.mode, entry.uname, entry.gname) != (mode, "root", "root"):
            errors.append(f"{entry.name} has mode {entry.mode:o}, {entry.uname}:{entry.gname}")
    return errors if len(entries) > 20 else ["the package is almost empty"]


def wrong_entry(folder):
    """Returns an error if KWin could not match the program with its desktop entry."""
    entry = pathlib.Path(folder, "usr/share/applications/org.quillet.Quillet.desktop").read_text()
    is_right = "\nExec=/usr/bin/quillet\n" in entry and "\nTryExec=/usr/bin/quillet\n" in entry
    return [] if is_right else ["the desktop entry has no absolute path"]


def missing_protection(program):
    """Returns the hardening features that a program was built without."""
    headers = output("readelf", "-hlWd", program)
    symbols = output("readelf", "--dyn-syms", "-W", program)
    found = {
        "position-independent executable": re.search(r"Flags:.*\bPIE\b", headers),
        "read-only relocations": "GNU_RELRO" in headers,
        "immediate binding": re.search(r"Flags:.*\bNOW\b", headers),
        "non-executable stack": re.search(r"GNU_STACK .* RW +0x", headers),
        "stack protector": "__stack_chk_fail" in symbols,
        "checked library functions": re.search(r"__(?!stack)\w+_chk@", symbols),
        "assertions of the C++ library": "__glibcxx_assert_fail" in symbols,
    }
    if platform.machine() == "x86_64":
        found["control-flow protection"] = pathlib.Path(program).read_bytes().count(ENDBR64) > 100
    return [f"{program} has no {name}" for name, present in found.items() if not present]


def main():
    cpack, build = sys.argv[1:]
    errors = missing_protection(f"{build}/bin/quillet")
    with tempfile.TemporaryDirectory() as folder:
        os.umask(0o077)
        output(cpack, "--config", f"{build}/CPackConfig.cmake", "-B", folder)
        (package,) = pathlib.Path(folder).glob("quillet_*.deb")
        errors += wrong_modes(package)
        output("dpkg-deb", "-x", str(package), f"{folder}/files")
        errors += missing_protection(f"{folder}/files/usr/bin/quillet")
        errors += wrong_entry(f"{folder}/files")
    sys.exit("\n".join(errors) or 0)


main()
