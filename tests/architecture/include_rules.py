"""Checks that the sources in each folder include only the headers that the folder may include.

Each folder may include headers of the folders after it:
program -> app -> output -> download -> device -> platform (interfaces) -> base. Backends may
include the interfaces and base. The folders device, download, output, app and base may include
standard and POSIX headers, but no toolkit headers.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)

# For each folder, the other folders whose headers it may include. 'platform' means the interfaces
# only.
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
# Folders of macOS headers. Only platform/macos may include them.
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
                    yield f'{where}: not allowed in {folder}'
            elif header not in STANDARD:
                is_macos = header.split('/')[0] in MACOS
                if folder in INTERFACES or folder in ROOMS and header not in POSIX:
                    yield f'{where}: not a standard or POSIX header'
                elif is_macos != (folder == 'platform/macos') and (is_macos or '.' in header):
                    yield f'{where}: macOS headers belong in platform/macos only'


found = list(problems())
print('\n'.join(found) or 'All includes are allowed.')
sys.exit(1 if found else 0)
