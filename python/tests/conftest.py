"""Every test runs with the ISO date rule and a default log folder of its own session."""
import os
import tempfile

os.environ["KIV_LOCALE"] = "C"
os.environ["KIV_PROGRAMFILESDIR"] = tempfile.mkdtemp(prefix="kivpy-")

import pytest  # noqa: E402

import kivdbxt  # noqa: E402


@pytest.fixture
def folder(tmp_path):
    """A fresh folder, as the library's text (str)."""
    return str(tmp_path)


@pytest.fixture(autouse=True)
def clean_errors():
    kivdbxt.ClearLastError()
    kivdbxt.Err.Clear()
    yield
