"""Checks that no library needs symbols of a higher library: link_rules.py NM LIBRARY...

List the libraries from the lowest to the highest.
"""
import subprocess
import sys

nm, libraries = sys.argv[1], sys.argv[2:]


def symbols(library, *flags):
    listed = subprocess.run([nm, '--format=posix', *flags, library], check=True,
                            capture_output=True, text=True).stdout
    return {line.split()[0] for line in listed.splitlines() if len(line.split()) > 1}


defined = {library: symbols(library, '--defined-only', '--extern-only') for library in libraries}
faults = []
for place, library in enumerate(libraries):
    needed = symbols(library, '--undefined-only') - defined[library]
    below = set().union(*(defined[other] for other in libraries[:place]))
    for above in libraries[place + 1:]:
        faults += [f'{library} needs {name} of {above}'
                   for name in sorted(needed & defined[above] - below)]
print('\n'.join(faults) or 'No room needs symbols of a room above it.')
sys.exit(1 if faults or not all(defined.values()) else 0)
