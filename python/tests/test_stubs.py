"""The type stubs shipped with the package: current with the compiled module, clean under mypy,
true to the module at run time (mypy's stubtest), and precise where the package promises types."""
import os
import subprocess
import sys

import kivdbxt

HERE = os.path.dirname(os.path.abspath(__file__))
PACKAGE = os.path.join(HERE, "..", "kivdbxt")
ALLOWLIST = os.path.join(HERE, "..", "stubtest-allowlist.txt")
# The built package (build/python), whose compiled module stubtest compares the stubs with.
BUILT = os.path.dirname(os.path.dirname(os.path.abspath(kivdbxt.__file__)))

# Each line marked `type: ignore[...]` is a mistake the stubs must reveal: with
# --warn-unused-ignores, a type left as Any (or missing) fails the check.
USAGE = '''
import datetime
from typing import Iterator, Tuple
import kivdbxt

log = kivdbxt.KivLog()
opened: Tuple[int, str, str] = log.EventLogOpen("APP", Path="/tmp")
Id, AppId, Path = log.EventLogOpen("APP")
bad_id: str = Id  # type: ignore[assignment]
bad_app: int = AppId  # type: ignore[assignment]
events: Iterator[kivdbxt.KivLogEvent] = log.events("APP", backwards=True)
for event in log.events("APP", CurrDate=datetime.date.today()):
    bad_source: int = event.EvSource  # type: ignore[assignment]
with log.opened("APP", Path="/tmp") as open_id:
    bad_open_id: str = open_id  # type: ignore[assignment]
log.events("APP", Nonsense=1)  # type: ignore[call-arg]
failed, start = log.EventLogRead(kivdbxt.KivLogInfo(), 1)
bad_start: str = start  # type: ignore[assignment]
with kivdbxt.KivLogFile() as db:
    for record in db.records(PageSize=10):
        bad_record: str = record  # type: ignore[assignment]
    db.EventLogChanged = lambda unk, kind, event_id: None
    db.EventLogChanged = 5  # type: ignore[assignment]
with kivdbxt.KivSector() as store:
    written, rec_id = store.SectorWrite(0, "text")
    bad_rec_id: str = rec_id  # type: ignore[assignment]
try:
    pass
except kivdbxt.KivError as error:
    number: int = error.Number
    bad_number: str = error.Number  # type: ignore[assignment]
    bad_description: int = error.Description  # type: ignore[assignment]
    bad_source_name: int = error.Source  # type: ignore[assignment]
version: str = kivdbxt.__version__
bad_version: int = kivdbxt.__version__  # type: ignore[assignment]
with kivdbxt.open_file("/tmp/x", 1) as number_of_file:
    bad_file: str = number_of_file  # type: ignore[assignment]
'''


def run(*args, cwd=None):
    env = dict(os.environ, PYTHONPATH=BUILT, MYPYPATH=BUILT)
    done = subprocess.run([sys.executable, *args], capture_output=True, text=True, env=env,
                          cwd=cwd)
    return done.returncode, done.stdout + done.stderr


def test_stubs_are_current():
    rc, out = run(os.path.join(HERE, "..", "make_stubs.py"), PACKAGE, "--check")
    assert rc == 0, out


def test_mypy_and_stubtest_accept_the_stubs(tmp_path):
    rc, out = run("-m", "mypy", "--cache-dir", str(tmp_path / "cache"), "-p", "kivdbxt",
                  cwd=tmp_path)
    assert rc == 0, out
    rc, out = run("-m", "mypy.stubtest", "kivdbxt", "--allowlist", ALLOWLIST, cwd=tmp_path)
    assert rc == 0, out


def test_stubs_give_precise_types(tmp_path):
    (tmp_path / "usage.py").write_text(USAGE)
    rc, out = run("-m", "mypy", "--cache-dir", str(tmp_path / "cache"), "--strict",
                  "--warn-unused-ignores", "usage.py", cwd=tmp_path)
    assert rc == 0, out
