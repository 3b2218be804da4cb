"""Daily logs: written, paged backwards with Adjust, filtered and purged."""
import datetime
import os

import kivdbxt


def write_day(folder, n=5, app="APP"):
    log = kivdbxt.KivLog()
    Id, AppId, Path = log.EventLogOpen(app, Path=folder)
    assert Id != 0 and AppId == app and Path == folder
    for i in range(n):
        assert log.EventLogWrite(Id, Source="s%d" % i, RawData="line %d\r\nnext" % i,
                                 EventType=kivdbxt.EVENTLOG_INFORMATION_TYPE,
                                 Category="c%d" % (i % 2), EventId=100 + i) is False
    assert log.EventLogClose(Id) is False
    return log


def test_write_and_read_back_exactly(folder):
    log = write_day(folder)
    base, path = log.LogFileName("APP", folder)
    assert path == folder
    assert os.path.basename(base) == "APP_" + datetime.date.today().strftime("%Y%m%d")
    with open(base + ".ZLI", "rb") as f:
        index = f.read()
    assert int.from_bytes(index[:4], "little") == 7  # Open, five events, Closed
    assert len(index) == 4 * 8
    info = kivdbxt.KivLogInfo()
    info.FileName = base
    failed, start = log.EventLogRead(info, 2, 2)
    assert (failed, start) == (False, 2)
    first, second = info.LogData
    assert (first.Ordinal, first.EvSource, first.EvId, first.EvCategory) == (2, "s0", 100, "c0")
    assert first.EvRawData == "line 0\r\nnext"
    assert first.EvType == kivdbxt.EVENTLOG_INFORMATION_TYPE
    assert isinstance(first.EvDate, datetime.datetime)
    assert abs(first.EvDate - datetime.datetime.now()) < datetime.timedelta(minutes=5)
    assert second.Ordinal == 3 and info.Events == 7


def test_batch_and_keep_open(folder):
    log = kivdbxt.KivLog()
    Id, _, _ = log.EventLogOpen("BAT", Path=folder)
    log.SetEventLogOptions(Id, kivdbxt.KIVLIOPT_KEEPOPEN)
    events = kivdbxt.Collection()
    for k in range(3):
        e = kivdbxt.KivLogEvent()
        e.EvSource, e.EvRawData, e.EvId = "b%d" % k, "raw %d" % k, k
        events.Add(e)
    assert log.EventLogWriteBatch(Id, events) is False
    assert log.EventLogWrite(Id, "single") is False
    assert log.EventLogClose(Id) is False
    info = kivdbxt.KivLogInfo()
    info.FileName = log.LogFileName("BAT", folder)[0]
    assert log.EventLogRead(info, 1, 10)[0] is False
    assert [(e.Ordinal, e.EvSource, e.EvRawData) for e in info.LogData][1:5] == \
        [(2, "b0", "raw 0"), (3, "b1", "raw 1"), (4, "b2", "raw 2"), (5, "single", "")]
    assert info.Events == 6


def test_paged_backwards_with_adjust(folder):
    log = write_day(folder)
    info = kivdbxt.KivLogInfo()
    info.FileName = log.LogFileName("APP", folder)[0]
    failed, start = log.EventLogReadBack(info, 999, 3)
    assert (failed, start) == (False, 7)  # past the end: the last event, written back
    assert [e.Ordinal for e in info.LogData] == [5, 6, 7]
    failed, start = log.EventLogReadBack(info, 2, 4)
    assert [e.Ordinal for e in info.LogData] == [1, 2]
    failed, start = log.EventLogReadBack(info, 2, 4, Adjust=True)
    assert [e.Ordinal for e in info.LogData] == [1, 2, 3, 4]
    # The iterator walks the whole day either way, in pages.
    forwards = [e.Ordinal for e in log.events("APP", folder, PageSize=2)]
    backwards = [e.Ordinal for e in log.events("APP", folder, PageSize=3, backwards=True)]
    assert forwards == list(range(1, 8)) and backwards == list(range(7, 0, -1))


def test_filtered(folder):
    log = write_day(folder)
    flt = kivdbxt.KivLogFilter()
    flt.Checks = kivdbxt.LGFF_CHECKCATEGORY | kivdbxt.LGFF_CHECKID
    flt.CategoriesAdd("c1")
    for i in (101, 102, 103):
        flt.IdsAdd(i)
    assert list(flt.Ids) == [101, 102, 103]
    info = kivdbxt.KivLogInfo()
    info.FileName = log.LogFileName("APP", folder)[0]
    assert log.EventLogFilter(info, 1, flt, 10) == (False, 1)
    assert [e.EvSource for e in info.LogData] == ["s1", "s3"]
    assert [e.EvSource for e in log.events("APP", folder, Filter=flt, backwards=True)] == \
        ["s3", "s1"]


def test_purged_and_listed(folder):
    log = write_day(folder, 1, "OLD")
    write_day(folder, 1, "NEW")
    old = log.LogFileName("OLD", folder)[0]
    os.rename(old + ".ZLG", os.path.join(folder, "OLD_20200101.ZLG"))
    os.rename(old + ".ZLI", os.path.join(folder, "OLD_20200101.ZLI"))
    logs = kivdbxt.Collection()
    assert log.EventLogList(logs, folder) is False
    assert sorted((i.AppId, i.Day) for i in logs)[0] == ("NEW", datetime.date.today().isoformat())
    assert log.EventLogPurgeEx(datetime.datetime(2021, 1, 1), Path=folder) is False
    assert sorted(os.listdir(folder)) == sorted(os.path.basename(log.LogFileName("NEW", folder)[0])
                                                + ext for ext in (".ZLG", ".ZLI"))
    with log.opened("NEW", Path=folder) as Id:
        assert log.EventLogPurge(Id) is False
    assert os.listdir(folder) == []
