"""Every test that docs/behaviour.md and docs/reliability.md name stands in the tests."""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])

sources = '\n'.join(path.read_text() for path in (ROOT / 'tests').rglob('*.cc'))
tests = {f'{suite}.{name}'
         for suite, name in re.findall(r'^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)', sources, re.M)}

# The tests of the shipped program have CTest's names: folder, file and test; those that take long
# the file's, class's and test's.
for path in (ROOT / 'tests').rglob('*.py'):
    methods = re.findall(r'^    def test_(\w+)', path.read_text(), re.M)
    tests |= {f"{path.parent.name}.{path.stem.removeprefix('test_')}.{name}" for name in methods}

reliability = (ROOT / 'docs/reliability.md').read_text()
named = re.findall(r'\b([A-Z]\w*\.[A-Z0-9]\w+)\b', (ROOT / 'docs/behaviour.md').read_text())
named += re.findall(r'\b([A-Z]\w*(?:Test|Log)\.[A-Z]\w+)\b', reliability)
named += re.findall(r'\b((?:faults|system)\.\w+\.\w+)\b', reliability)
missing = sorted(set(named) - tests)
print(f'{len(set(named))} tests are named.')
print('\n'.join(f'{test}: no such test' for test in missing))
sys.exit(1 if missing or not named else 0)
