"""An event saved and loaded on a client's own file number; the run time's file statements."""
import datetime

import kivdbxt


def sample():
    ev = kivdbxt.KivLogEvent()
    ev.EvUnk = -5
    ev.EvDate = datetime.datetime(2024, 3, 5, 14, 3, 7)
    ev.EvSource = "APP"
    ev.EvType = 2
    ev.EvCategory = "D\u00efsk"
    ev.EvId = 7
    ev.EvRawData = "a\r\nb\r\n"
    return ev


def test_saved_and_loaded_on_a_clients_file_number(folder):
    path = folder + "/mine.ZLG"
    with kivdbxt.open_file(path, kivdbxt.OPEN_OUTPUT) as n:
        assert sample().Save(n) is False
        second = sample()
        second.EvUnk = 2
        second.EvDate = 45357.5  # a float OLE date is taken too: 2024-03-06 12:00
        assert second.Save(n) is False
    with open(path, "rb") as f:
        text = f.read()
    assert text.startswith(b"UNK=-5\r\nDAT=2024-03-05 14:03:07\r\nSRC=APP\r\nTYP=2\r\n"
                           b"CAT=D\xefsk\r\nEID=7\r\n")
    assert b"RWD=a\r\nRWD=b\r\nEND=-----------------------\r\nUNK=2\r\n" in text

    n = kivdbxt.FreeFile()
    assert kivdbxt.FileOpen(n, path, kivdbxt.OPEN_INPUT) is False
    back = kivdbxt.KivLogEvent()
    assert kivdbxt.EOF(n) is False
    assert back.Load(n) is False
    assert (back.EvUnk, back.EvCategory, back.EvRawData) == (-5, "D\u00efsk", "a\r\nb")
    assert back.EvDate == datetime.datetime(2024, 3, 5, 14, 3, 7)
    assert back.Load(n) is False
    assert back.EvDate == datetime.datetime(2024, 3, 6, 12, 0)
    assert kivdbxt.EOF(n) is True
    assert back.Load(n) is True
    rec = kivdbxt.LastErrorRecord()
    assert (rec.Number, rec.Source, rec.Description) == \
        (62, "KivLogEvent.Load", "Input past end of file")
    kivdbxt.FileClose(n)
    assert kivdbxt.FreeFile() == n


def test_file_statements_report_through_err(folder):
    n = kivdbxt.FreeFile()
    assert kivdbxt.FileOpen(n, folder + "/missing", kivdbxt.OPEN_INPUT) is True
    assert (kivdbxt.Err.Number, kivdbxt.Err.Description, kivdbxt.Err.LastDllError) == \
        (53, "File not found", 2)
    assert kivdbxt.Last_Error() == 0  # the recorded error is the client's business
    kivdbxt.Set_Error(Source="Client.Open", Flags=kivdbxt.SETERR_APPENDSYSMSG)
    rec = kivdbxt.LastErrorRecord()
    assert (rec.Number, rec.Source) == (53, "Client.Open")
    assert rec.Description == "File not found\r\nNo such file or directory"
    assert kivdbxt.Err.Number == 0  # taken by Set_Error
    assert kivdbxt.FileOpen(n, folder + "/x", kivdbxt.OPEN_INPUT, kivdbxt.ACCESS_WRITE) is True
    assert kivdbxt.Err.Number == 5
    assert kivdbxt.EOF(n) is True and kivdbxt.Err.Number == 52
    try:
        with kivdbxt.open_file(folder + "/nope/x", kivdbxt.OPEN_APPEND):
            raise AssertionError("opened")
    except kivdbxt.KivError as e:
        assert (e.Number, e.Description) == (76, "Path not found")
    assert kivdbxt.FreeFile() == n


def test_dates_cross_into_python_on_both_sides_of_the_ole_epoch():
    ev = kivdbxt.KivLogEvent()
    # Before day 0 the fraction still counts forwards from midnight.
    for ole, when in [(-1.25, datetime.datetime(1899, 12, 29, 6, 0)),
                      (0.0, datetime.datetime(1899, 12, 30)),
                      (60.5, datetime.datetime(1900, 2, 28, 12, 0)),
                      (-657434.0, datetime.datetime(100, 1, 1)),
                      (2958465.5, datetime.datetime(9999, 12, 31, 12, 0))]:
        ev.EvDate = ole
        assert ev.EvDate == when
        ev.EvDate = when
        assert ev.EvDate == when
    ev.EvDate = datetime.date(2000, 2, 29)
    assert ev.EvDate == datetime.datetime(2000, 2, 29)
