"""Holds the rooms to their walls: who may include whom.

The rooms (device, download, output, app) know the standard library, POSIX and the interfaces in
platform/; none of them knows a toolkit, a window system or a backend, and none knows a room that
is built on it.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)

ROOMS = {
    'device': {'device', 'platform'},
    'download': {'download', 'device', 'platform'},
    'output': {'output', 'download', 'device', 'platform'},
    'app': {'app', 'output', 'download', 'device', 'platform'},
}
# Those of the C++ standard library in use; a toolkit's may have no suffix either.
STANDARD = set('''algorithm array atomic cctype cerrno charconv chrono cmath compare
    condition_variable csignal cstddef cstdint cstdio cstdlib cstring ctime deque exception
    filesystem fstream functional initializer_list iterator limits locale map memory mutex optional
    random set span sstream stdexcept string string_view system_error thread type_traits utility
    vector'''.split())
# The POSIX ones in use.
POSIX = {'fcntl.h', 'termios.h', 'unistd.h'}
# Where macOS's own headers stand, which platform/macos alone may include.
MACOS = {'AppKit', 'ApplicationServices', 'Carbon', 'Cocoa', 'CoreFoundation', 'CoreGraphics',
         'CoreServices', 'Foundation', 'IOKit', 'mach', 'objc'}
BACKENDS = ('platform/linux', 'platform/macos', 'platform/posix', 'platform/qt')


def room_of(header):
    return header.split('/')[0]


def is_interface(header):
    return header.startswith('platform/') and header.count('/') == 1


def problems():
    for room, allowed in ROOMS.items():
        for path in sorted((ROOT / room).rglob('*.[ch]*')):
            for kind, header in INCLUDE.findall(path.read_text()):
                where = f'{path.relative_to(ROOT)} includes {header}'
                if kind == '<':
                    if header not in STANDARD and header not in POSIX:
                        yield f'{where}: not the standard library and not POSIX'
                elif room_of(header) not in allowed:
                    yield f'{where}: {room} is not built on it'
                elif room_of(header) == 'platform' and not is_interface(header):
                    yield f'{where}: a backend'
    for folder in (*BACKENDS, 'program', 'simulator'):
        for path in sorted((ROOT / folder).rglob('*.[ch]*')):
            for kind, header in INCLUDE.findall(path.read_text()):
                where = f'{path.relative_to(ROOT)} includes {header}'
                if folder != 'platform/macos':
                    if kind == '<' and room_of(header) in MACOS:
                        yield f'{where}: only platform/macos knows it'
                elif kind == '"':
                    if not (is_interface(header) or header.startswith('platform/macos/')):
                        yield f'{where}: platform/macos is not built on it'
                elif '.' in header and room_of(header) not in MACOS:
                    yield f'{where}: not the standard library and not macOS'
    for folder in (*BACKENDS, 'simulator'):
        for path in sorted((ROOT / folder).rglob('*.[ch]*')):
            if 'demonstration' in path.parts:
                continue
            for kind, header in INCLUDE.findall(path.read_text()):
                if kind == '"' and room_of(header) in (*ROOMS, 'program'):
                    yield f'{path.relative_to(ROOT)} includes {header}: built on it'
    for path in sorted((ROOT / 'platform').glob('*.h')):
        for kind, header in INCLUDE.findall(path.read_text()):
            if kind == '"' and not is_interface(header) or kind == '<' and header not in STANDARD:
                yield f'{path.relative_to(ROOT)} includes {header}: interfaces stand alone'


found = list(problems())
print('\n'.join(found) or 'Every include keeps to the rules.')
sys.exit(1 if found else 0)
