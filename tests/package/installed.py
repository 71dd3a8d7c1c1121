"""Installs a build to a temporary prefix and checks the files: installed.py CMAKE BUILD VERSION

All files must be inside the prefix. The names and version numbers in them must be consistent.
"""

import configparser
import gzip
import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

NAME = "org.quillet.Quillet"
SIZES = (16, 22, 24, 32, 48, 64, 128, 256, 512)


def check(condition, error):
    if not condition:
        sys.exit(f"installed.py: {error}")


def text_of(path):
    """Returns the text of a file, which may be compressed."""
    return (gzip.decompress(path.read_bytes()) if path.suffix == ".gz" else path.read_bytes()).decode()


def check_icon(prefix):
    icons = prefix / "share/icons/hicolor"
    drawing = icons / f"scalable/apps/{NAME}.svg"
    check(b"<svg" in drawing.read_bytes(), "the drawing is not an SVG file")
    for size in SIZES:
        picture = (icons / f"{size}x{size}/apps/{NAME}.png").read_bytes()
        check(picture.startswith(b"\x89PNG\r\n\x1a\n"), f"the icon of size {size} is not a PNG file")
        check(struct.unpack(">II", picture[16:24]) == (size, size), f"the icon of size {size} has the wrong size")


def check_names(prefix):
    entry = configparser.ConfigParser(interpolation=None)
    entry.optionxform = str
    entry.read(prefix / f"share/applications/{NAME}.desktop")
    entry = entry["Desktop Entry"]
    check(entry["Icon"] == NAME, "wrong icon in the desktop entry")
    check(os.access(prefix / "bin" / entry["Exec"], os.X_OK), "Exec is not a program")
    check(entry["TryExec"] == entry["Exec"], "TryExec differs from Exec")
    info = xml.etree.ElementTree.parse(prefix / f"share/metainfo/{NAME}.metainfo.xml").getroot()
    check(info.findtext("id") == NAME, "wrong id in the metainfo")
    check(info.findtext("launchable") == f"{NAME}.desktop", "wrong desktop entry in the metainfo")
    documents = prefix / "share/doc/quillet"
    for image in info.iter("image"):
        picture = documents / "images" / image.text.rsplit("/", 1)[1]
        size = struct.unpack(">II", picture.read_bytes()[16:24])
        check(size == (int(image.get("width")), int(image.get("height"))), f"wrong size of {picture}")
    for picture in re.findall(r"\((images/[^)]*)\)", text_of(documents / "user-guide.md")):
        check((documents / picture).is_file(), f"{picture} is missing")


def check_version(prefix, version):
    info = xml.etree.ElementTree.parse(prefix / f"share/metainfo/{NAME}.metainfo.xml").getroot()
    check(next(info.iter("release")).get("version") == version, "wrong version in the metainfo")
    changelog = text_of(prefix / "share/doc/quillet/changelog.gz")
    check(changelog.startswith(f"quillet ({version}) "), "wrong version in the changelog")
    manual = text_of(prefix / "share/man/man1/quillet.1.gz")
    check(f".Os Quillet {version}\n" in manual, "wrong version in the manual page")
    check(f"Quillet V{version}\0".encode() in (prefix / "bin/quillet").read_bytes(),
          "wrong version in the program")


def check_rules(prefix):
    """Checks that udev reads the scanner's rule before 73-seat-late.rules and does not read the
    typing rule."""
    rules = [path.name for path in (prefix / "lib/udev/rules.d").iterdir()]
    check(rules == ["70-quillet-scanner.rules"], f"udev reads {rules}")
    check((prefix / "share/quillet/70-quillet-uinput.rules").is_file(), "the typing rule is missing")


def main():
    cmake, build, version = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        prefix = pathlib.Path(folder) / "prefix"
        done = subprocess.run([cmake, "--install", build, "--prefix", prefix], capture_output=True,
                              text=True)
        check(done.returncode == 0, done.stderr)
        for line in re.findall(r"^-- (?:Installing|Up-to-date): (.*)$", done.stdout, re.MULTILINE):
            check(line.startswith(str(prefix)), f"{line} is outside the prefix")
        check_icon(prefix)
        check_names(prefix)
        check_version(prefix, version)
        check_rules(prefix)


main()
