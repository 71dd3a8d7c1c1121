"""Checks who may include whom.

program -> app -> output -> download -> device -> platform (interfaces) -> base, and each backend
-> platform (interfaces), base. The rooms and base know the standard library and POSIX, no toolkit.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)

# What a folder may include beside its own headers. 'platform' means the interfaces only.
ROOMS = {
    'base': set(),
    'device': {'base', 'platform'},
    'download': {'base', 'platform', 'device'},
    'output': {'base', 'platform', 'device', 'download'},
    'app': {'base', 'platform', 'device', 'download', 'output'},
}
INTERFACES = {'platform': {'base'}}
BACKENDS = {f'platform/{name}': {'base', 'platform'} for name in ('posix', 'linux', 'macos', 'qt')}
OTHERS = {'simulator': {'base'}}

STANDARD = set('''algorithm array atomic bit cctype cerrno charconv chrono cmath compare
    condition_variable csignal cstddef cstdint cstdio cstdlib cstring ctime deque exception
    filesystem fstream functional initializer_list iterator limits locale map memory mutex optional
    random set span sstream stdexcept string string_view system_error thread type_traits utility
    vector'''.split())
POSIX = {'fcntl.h', 'termios.h', 'unistd.h'}
# The folders of macOS's own headers, which platform/macos alone may include.
MACOS = {'AppKit', 'ApplicationServices', 'Carbon', 'Cocoa', 'CoreFoundation', 'CoreGraphics',
         'CoreServices', 'Foundation', 'IOKit', 'mach', 'objc'}


def includes(folder, pattern='**/*.[ch]*'):
    for path in sorted((ROOT / folder).glob(pattern)):
        if 'demonstration' in path.parts:
            continue
        for kind, header in INCLUDE.findall(path.read_text()):
            yield path.relative_to(ROOT), kind == '<', header


def folder_of(header):
    return header.rpartition('/')[0]


def problems():
    for folder, allowed in {**ROOMS, **INTERFACES, **BACKENDS, **OTHERS}.items():
        pattern = '*.h' if folder in INTERFACES else '**/*.[ch]*'
        for path, system, header in includes(folder, pattern):
            where = f'{path} includes {header}'
            if not system:
                if folder_of(header) not in {folder, *allowed}:
                    yield f'{where}: {folder} may not use it'
            elif header not in STANDARD:
                is_macos = header.split('/')[0] in MACOS
                if folder in INTERFACES or folder in ROOMS and header not in POSIX:
                    yield f'{where}: neither the standard library nor POSIX'
                elif is_macos != (folder == 'platform/macos') and (is_macos or '.' in header):
                    yield f'{where}: only platform/macos knows macOS, and nothing else'


found = list(problems())
print('\n'.join(found) or 'Every include follows the rules.')
sys.exit(1 if found else 0)
