"""The type stubs shipped with the package match the compiled module and parse."""
import ast
import os
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
PACKAGE = os.path.join(HERE, "..", "kivdbxt")


def test_stubs_are_current_and_parse():
    run = subprocess.run([sys.executable, os.path.join(HERE, "..", "make_stubs.py"), PACKAGE,
                          "--check"], capture_output=True, text=True)
    assert run.returncode == 0, run.stdout + run.stderr
    for name in ("__init__.pyi", "_kivdbxt.pyi", "dao.pyi"):
        with open(os.path.join(PACKAGE, name)) as f:
            ast.parse(f.read(), name)
