"""The database log: created, reported into with an EventLogChanged callback, read by
ELREF_ABSOLUTE pages, compacted."""
import kivdbxt

# The log's own records ("Event Log Created", ...) left out, in the order reported.
MINE = "where SOURCE <> 'KIVEVENTLOG'"
IN_ORDER = "order by UNK"


def make_log(folder, n, path=None):
    path = path or folder + "/events.db"
    log = kivdbxt.KivLogFile()
    assert log.CreateEventLog(path, 100, kivdbxt.KLFWM_OVERWRITEASNEEDED) is False
    seen = []
    log.EventLogChanged = lambda unk, typ, eid: seen.append((unk, typ, eid))
    assert log.OpenEventLog(path, bKeepAlive=True) is False
    for i in range(n):
        failed, user, computer = log.ReportEvent("src%d" % (i % 2), "raw %d" % i,
                                                 EventType=kivdbxt.EVENTLOG_ERROR_TYPE,
                                                 EventId=i, User="u%d" % i if i else "")
        assert failed is False and user == ("u%d" % i if i else user) and user and computer
    return log, path, seen


def test_reported_with_change_callback(folder):
    log, path, seen = make_log(folder, 5)
    assert [(t, e) for _, t, e in seen] == [(kivdbxt.EVENTLOG_ERROR_TYPE, i) for i in range(5)]
    unks = [u for u, _, _ in seen]
    assert unks == sorted(unks)  # a millisecond tick: reports within one tick share it
    log.EventLogChanged = None
    assert log.ReportEvent("x", "quiet")[0] is False
    assert len(seen) == 5  # no handler any more
    assert log.CheckEventLogChanges(0)[0] == 1
    assert log.ReadEventLog(kivdbxt.ELREF_COUNT, 0, MINE) == (0, 6)
    assert log.CloseEventLog() is False


def test_read_by_absolute_pages_and_compacted(folder):
    log, path, _ = make_log(folder, 7)
    pages, pos = [], 0
    while True:
        result, pos, got = log.ReadEventLogEx(kivdbxt.ELREF_ABSOLUTE, pos, MINE, IN_ORDER, 3)
        if result == 1:
            break
        assert result == 0
        pages.append([log.LogRecordEx(i).EvId for i in range(1, got + 1)])
        if got < 3:
            break
    assert pages == [[0, 1, 2], [3, 4, 5], [6]]
    assert [r.EvRawData for r in log.records("where SOURCE = 'src1'", IN_ORDER)] == \
        ["raw 1", "raw 3", "raw 5"]
    with log:
        assert log.CompactEventLog() is False
    again = kivdbxt.KivLogFile()
    assert again.OpenEventLog(path) is False
    assert [r.EvId for r in again.records(MINE, IN_ORDER, PageSize=2)] == list(range(7))
    rec = again.LogRecordEx(99)
    assert rec.EvId == 0 and kivdbxt.LastErrorRecord().Number == 9


def test_read_only_look_changes_nothing(folder):
    log, path, _ = make_log(folder, 3)
    assert log.SyncModeGet() == (False, "NORMAL")
    assert log.CloseEventLog() is False
    viewer = kivdbxt.KivLogFile()
    assert viewer.OpenEventLogReadOnly(path) is False and viewer.ReadOnly is True
    count = viewer.ReadEventLog(kivdbxt.ELREF_COUNT, 0, MINE)
    assert viewer.ReportEvent("x", "refused")[0] is True
    rec = kivdbxt.LastErrorRecord()
    assert rec.Number == 20000 and rec.Description.endswith(" è aperto in sola lettura.")
    assert viewer.ReadEventLog(kivdbxt.ELREF_COUNT, 0, MINE) == count
    assert viewer.CloseEventLog() is False


def test_follow_by_id_and_wait_for_changes(folder, log_name):
    """On a file and on a server (a postgresql:// URI): the same calls, the same answers."""
    log, path, _ = make_log(folder, 2, log_name)
    follower = kivdbxt.KivLogFile()
    assert follower.OpenEventLogReadOnly(path) is False
    result, last, n = follower.ReadEventLogAfter(-1)
    assert (result, n) == (1, 0) and last > 0
    unk = follower.CheckEventLogChanges(0)[1]
    assert follower.WaitEventLogChanges(50, unk) == (0, unk)
    for i in range(3):
        assert log.ReportEvent("f", "x%d" % i, EventId=100 + i)[0] is False
    assert follower.WaitEventLogChanges(5000, unk)[0] == 1
    result, after, n = follower.ReadEventLogAfter(last, 10)
    assert (result, n) == (0, 3) and after > last
    assert [follower.LogRecordEx(i).EvId for i in (1, 2, 3)] == [100, 101, 102]
    assert follower.ReadEventLogAfter(after)[0] == 1
