"""Checks a macOS bundle or icon.

bundle.py info BUNDLE VERSION OLDEST  checks Info.plist and that the executable exists;
                                      OLDEST: the oldest macOS version that it supports
bundle.py icon ICON                   checks the type and size of each image in an .icns file
"""
import pathlib
import plistlib
import struct
import sys


def check(condition, what):
    if not condition:
        sys.exit(f'bundle.py: {what}')


def check_info(bundle, version, oldest):
    info = plistlib.loads((bundle / 'Contents/Info.plist').read_bytes())
    for key, value in {
        'CFBundleName': 'Quillet',
        'CFBundlePackageType': 'APPL',
        'CFBundleShortVersionString': version,
        'CFBundleVersion': version,
        'CFBundleGetInfoString': f'Quillet V{version}',
        'CFBundleIconFile': 'quillet.icns',
        'LSMinimumSystemVersion': oldest,
        'NSHighResolutionCapable': True,
        'NSPrincipalClass': 'NSApplication',
    }.items():
        check(info.get(key) == value, f'{key} is {info.get(key)!r}, expected {value!r}')
    check(info['CFBundleIdentifier'].count('.') >= 2, 'CFBundleIdentifier has no domain')
    program = bundle / 'Contents/MacOS' / info['CFBundleExecutable']
    check(program.is_file(), f'{program} is missing')


def check_icon(icon):
    contents = icon.read_bytes()
    check(contents[:8] == b'icns' + struct.pack('>I', len(contents)), 'not an icns file')
    sizes, place = {}, 8
    while place < len(contents):
        kind, length = contents[place:place + 4], struct.unpack_from('>I', contents, place + 4)[0]
        picture = contents[place + 8:place + length]
        check(picture[:8] == b'\x89PNG\r\n\x1a\n', f'{kind} is not a PNG image')
        width, height = struct.unpack_from('>II', picture, 16)
        check(width == height, f'{kind} is not square')
        check(len(picture) > 4 * width, f'{kind} is empty')
        sizes[kind.decode()] = width
        place += length
    check(sizes == {'ic11': 32, 'ic12': 64, 'ic07': 128, 'ic13': 256, 'ic08': 256, 'ic14': 512,
                    'ic09': 512, 'ic10': 1024}, f'unexpected sizes: {sizes}')


match sys.argv[1:]:
    case ['info', bundle, version, oldest]:
        check_info(pathlib.Path(bundle), version, oldest)
    case ['icon', icon]:
        check_icon(pathlib.Path(icon))
    case _:
        sys.exit(__doc__)
