# Pass tests of zopt in the lit + FileCheck style. A test is one icode text
# (.itxt) whose RUN lines assemble it, run zopt and check what comes out.
# ctest runs lit with --param build=<build directory>.
import os

import lit.formats

config.name = 'zopt'
config.test_format = lit.formats.ShTest(execute_external=False)
config.suffixes = ['.itxt']
config.excludes = ['Inputs']
config.test_source_root = os.path.dirname(__file__)

build = lit_config.params.get('build')
if not build:
    lit_config.fatal('give the build directory: lit --param build=DIR')
build = os.path.abspath(build)
config.test_exec_root = os.path.join(build, 'tests', 'lit')

filecheck = lit_config.params.get('filecheck', '/usr/lib/llvm-14/bin/FileCheck')
zopt = os.path.join(build, 'zopt')
# Checking mode (--debug=check, on unless --param check=0): zopt checks the
# function after every pass and stops at the first broken invariant.
checking = lit_config.params.get('check', '1') not in ('0', 'OFF', 'off', 'false')
tools = {
    '%icode-as': os.path.join(build, 'tools', 'icode-text', 'icode-as'),
    '%icode-dis': os.path.join(build, 'tools', 'icode-text', 'icode-dis'),
    '%icode-run': os.path.join(build, 'tools', 'icode-run', 'icode-run'),
    '%zopt': zopt + (' --debug=check' if checking else ''),
    '%FileCheck': filecheck,
}
# Longer names first, so that no substitution eats the start of another.
for name in sorted(tools, key=len, reverse=True):
    config.substitutions.append((name, tools[name]))

# Tests that need a program that isn't built yet say so with REQUIRES.
for feature, path in (('zopt', zopt), ('icode-run', tools['%icode-run'])):
    if os.access(path, os.X_OK):
        config.available_features.add(feature)

# zopt writes its information file and debug log next to its input; a clean
# environment keeps the tests independent of the caller's.
config.environment['LC_ALL'] = 'C'
