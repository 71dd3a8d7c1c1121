"""Every test that docs/behaviour.md names stands in the tests."""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])

sources = '\n'.join(path.read_text() for path in (ROOT / 'tests').rglob('*.cc'))
tests = {f'{suite}.{name}'
         for suite, name in re.findall(r'^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)', sources, re.M)}

named = re.findall(r'\b([A-Z]\w*\.[A-Z0-9]\w+)\b', (ROOT / 'docs/behaviour.md').read_text())
missing = sorted(set(named) - tests)
print(f'{len(set(named))} tests are named.')
print('\n'.join(f'{test}: no such test' for test in missing))
sys.exit(1 if missing or not named else 0)
