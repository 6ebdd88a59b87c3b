# Programs in icode text, assembled and run by icode-run, their output
# checked with FileCheck. ctest runs them as the test icode-run-lit.
import os

import lit.formats

config.name = 'icode-run'
config.test_format = lit.formats.ShTest(execute_external=False)
config.suffixes = ['.itxt']
config.test_source_root = os.path.dirname(__file__)

build = lit_config.params.get('build')
if not build:
    lit_config.fatal('give the build directory: lit --param build=DIR')
build = os.path.abspath(build)
config.test_exec_root = os.path.join(build, 'tests', 'run')

filecheck = lit_config.params.get('filecheck', '/usr/lib/llvm-14/bin/FileCheck')
tools = {
    '%icode-as': os.path.join(build, 'tools', 'icode-text', 'icode-as'),
    '%icode-run': os.path.join(build, 'tools', 'icode-run', 'icode-run'),
    '%FileCheck': filecheck,
}
for name in sorted(tools, key=len, reverse=True):
    config.substitutions.append((name, tools[name]))
config.environment['LC_ALL'] = 'C'
