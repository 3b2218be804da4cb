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


# The special methods a caller uses by name or by syntax; the rest are Python's own.
SPECIAL = {"__init__", "__enter__", "__exit__", "__iter__", "__getitem__", "__len__"}


def described(obj, name):
    """Whether the docstring says something beyond pybind11's signature lines."""
    signature = re.compile(r"(\d+\. )?%s\(" % re.escape(name))
    return any(line.strip() and not signature.match(line.strip())
               and line.strip() != "Overloaded function."
               for line in (obj.__doc__ or "").splitlines())


def public_names():
    for scope in (kivdbxt, kivdbxt.dao):
        for name, obj in vars(scope).items():
            if name.startswith("_") or inspect.ismodule(obj):
                continue
            if inspect.isclass(obj):
                yield name, name, obj
                for member, value in vars(obj).items():
                    # A class Python cannot construct keeps type's own __init__.
                    if (not member.startswith("_") or member in SPECIAL) and \
                            type(value).__name__ != "wrapper_descriptor":
                        yield "%s.%s" % (name, member), member, value
            elif callable(obj) and not isinstance(obj, kivdbxt.ErrObject):
                yield name, name, obj


def test_every_public_name_is_described():
    names = list(public_names())
    missing = [full for full, name, obj in names if not described(obj, name)]
    assert len(names) > 350 and not missing, missing
    # help() shows the Pythonic extras under their own names.
    assert kivdbxt.KivLog.events.__name__ == "events"
