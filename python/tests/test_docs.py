"""help() reads like the C++ headers: each class and member documented there carries the first
sentence of its header comment, under its signature."""
import inspect
import os
import re
import subprocess
import sys

import kivdbxt

HERE = os.path.dirname(os.path.abspath(__file__))
HEADERS = os.path.join(HERE, "..", "..", "include", "kivdbxt")
ENTRY = re.compile(r'^\{"(\w*)", "(\w*)", "((?:[^"\\]|\\.)*)"\},$')


def header_docs(tmp_path):
    out = tmp_path / "docs.inc"
    subprocess.run([sys.executable, os.path.join(HERE, "..", "make_docs.py"), HEADERS, str(out)],
                   check=True)
    for line in out.read_text().splitlines()[1:]:
        cls, name, text = ENTRY.match(line).groups()
        yield cls, name, text.replace('\\"', '"').replace("\\\\", "\\")


def bound(cls, name):
    for scope in (kivdbxt._kivdbxt, kivdbxt.dao):
        owner = getattr(scope, cls, None)
        if inspect.isclass(owner):
            return owner if not name else vars(owner).get(name)
    return None


def test_documented_members_carry_their_header_sentence(tmp_path):
    checked, wrong = 0, []
    for cls, name, text in header_docs(tmp_path):
        obj = bound(cls, name)
        if obj is None or inspect.isfunction(obj):
            continue  # not bound in Python, or one of the package's own extras
        checked += 1
        if text not in (obj.__doc__ or "") and not (name == "" and obj.__doc__):
            wrong.append("%s.%s" % (cls, name))
    assert checked > 80 and not wrong, (checked, wrong)
    # The sentence sits under the signature, so the stubs and help() still find the signature.
    doc = kivdbxt.KivSector.SectorCreate.__doc__.splitlines()
    assert doc[0].startswith("SectorCreate(self: ") and doc[1] == ""
    assert doc[2].startswith("Creates the three empty files of FileName")
