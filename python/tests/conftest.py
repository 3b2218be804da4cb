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


def _server_uri():
    """The URI of the test server CTest starts (the pg_server fixture), or None."""
    state = os.environ.get("KIV_TEST_PG_STATE")
    if not state or not os.path.exists(state + "/uri"):
        return None
    with open(state + "/uri") as f:
        return f.read().strip()


@pytest.fixture(params=["file", "server"])
def log_name(request, folder):
    """Where a database log goes: a file, or a schema of its own on the test server."""
    if request.param == "file":
        return folder + "/events.db"
    uri = _server_uri()
    if uri is None:
        pytest.skip("no test server: run through ctest")
    schema = "py_%d_%d" % (os.getpid(), request.node.nodeid.__hash__() & 0xFFFFFF)
    db = kivdbxt.dao.DBEngine().OpenDatabase(uri)
    db.Execute("CREATE SCHEMA " + schema)
    db.Close()
    return uri + "&options=-csearch_path%3D" + schema + "%2Cpublic"


@pytest.fixture(autouse=True)
def clean_errors():
    kivdbxt.ClearLastError()
    kivdbxt.Err.Clear()
    yield
