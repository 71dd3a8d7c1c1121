"""Checks that no library needs symbols that it must not use:

    link_rules.py NM LAYER... --backends BACKEND...

List the layers from lowest (base) to highest. A layer must not need symbols of a higher layer or of
a backend. A backend must not need symbols of another backend or of any layer except base.
"""
import subprocess
import sys

nm, libraries = sys.argv[1], sys.argv[2:]
end = libraries.index('--backends')
rooms, backends = libraries[:end], libraries[end + 1:]


def symbols(library, *flags):
    listed = subprocess.run([nm, '--format=posix', *flags, library], check=True,
                            capture_output=True, text=True).stdout
    return {line.split()[0] for line in listed.splitlines() if len(line.split()) > 1}


def allowed(library):
    return rooms[:rooms.index(library)] if library in rooms else rooms[:1]


defined = {library: symbols(library, '--defined-only', '--extern-only')
           for library in rooms + backends}
faults = []
for library in defined:
    usable = set().union(*(defined[other] for other in [library, *allowed(library)]))
    needed = symbols(library, '--undefined-only') - usable
    for other in defined:
        faults += [f'{library} needs {name} of {other}' for name in sorted(needed & defined[other])]
print('\n'.join(faults) or 'All libraries need only symbols that they may use.')
sys.exit(1 if faults or not all(defined.values()) else 0)
