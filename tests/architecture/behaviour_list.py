"""Checks that the tests named in SECURITY.md, docs/behaviour.md and docs/reliability.md exist.

The documents refer to C++ tests as Suite.Test and to Python tests as folder.file.test, as CTest
does.
"""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])

sources = '\n'.join(path.read_text() for pattern in ('*.h', '*.cc')
                    for path in (ROOT / 'tests').rglob(pattern))
tests = {f'{suite}.{name}'
         for suite, name in re.findall(r'^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)', sources, re.M)}
for path in (ROOT / 'tests').rglob('*.py'):
    methods = re.findall(r'^    def test_(\w+)', path.read_text(), re.M)
    tests |= {f"{path.parent.name}.{path.stem.removeprefix('test_')}.{name}" for name in methods}
suites = {test.partition('.')[0] for test in tests}

missing = []
for document in ('SECURITY.md', 'docs/behaviour.md', 'docs/reliability.md'):
    text = (ROOT / document).read_text()
    named = {name for name in re.findall(r'\b\w+\.\w+(?:\.\w+)?(?![\w*])', text)
             if name.partition('.')[0] in suites or re.match(r'[A-Z]\w*Test\.', name)}
    print(f'{document}: {len(named)} tests')
    missing += [f'{document}: {name} does not exist' for name in sorted(named - tests)]
    if not named:
        missing.append(f'{document}: no tests')
print('\n'.join(missing))
sys.exit(1 if missing else 0)
