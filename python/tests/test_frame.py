"""The error record of a failure, Err and Set_Error, CreateObject of every class."""
import threading

import kivdbxt


def test_error_record_of_a_failure_is_exact():
    log = kivdbxt.KivLog()
    assert log.EventLogClose(77) is True
    rec = kivdbxt.LastErrorRecord()
    assert tuple(rec) == (20000, "KivLog.EventLogClose", "Eventlog not started.", "", "0", 0)
    assert kivdbxt.Last_Error() == 20000
    blob = kivdbxt.QvDbXt()
    assert blob.Blob_Init(None, None) is True
    rec = kivdbxt.LastErrorRecord()
    assert (rec.Number, rec.Source) == (91, "QvDbXtMod.Blob_Init")
    assert rec.Description == "Object variable or With block variable not set"


def test_err_raised_by_a_client_and_taken_by_set_error():
    kivdbxt.Err.Raise(5, "Client", HelpFile="h.chm", HelpContext=12)
    assert kivdbxt.Err.Description == "Invalid procedure call or argument"
    kivdbxt.Set_Error(Source="Script.Step")
    rec = kivdbxt.LastErrorRecord()
    assert tuple(rec)[:5] == (5, "Script.Step", "Invalid procedure call or argument", "h.chm",
                              "12")
    kivdbxt.Err.Raise(65535, Description="odd")
    kivdbxt.Set_Error(Source="S")
    assert kivdbxt.Last_Error() == 0 and kivdbxt.LastErrorRecord().Description == "odd"
    kivdbxt.Err.Raise(9)
    kivdbxt.Set_Error(1, "S", Flags=kivdbxt.SETERR_NOERR)
    assert kivdbxt.LastErrorRecord().Description == "" and kivdbxt.Err.Number == 9
    seen = []
    t = threading.Thread(target=lambda: seen.append(kivdbxt.Err.Number))
    t.start()
    t.join()
    assert seen == [0]  # each thread has its own


def test_create_object_of_every_class():
    made = {}
    for info in kivdbxt.ClassTable():
        by_progid = kivdbxt.CreateObject(info.ProgId)
        by_clsid = kivdbxt.CreateObject(info.Clsid.lower().strip("{}"))
        if by_progid is None:  # a class this build does not provide
            assert kivdbxt.LastErrorRecord().Number == 429
            continue
        assert type(by_progid).__name__ == info.Name == type(by_clsid).__name__
        made[info.Name] = by_progid
    assert {"QvDbXt", "KivBlobType", "KivLogFile", "KivLog", "KivLogInfo", "KivLogEvent",
            "KivLogFilter"} <= set(made)
    assert kivdbxt.CreateObject("KivDbXtOle.Nothing") is None
    rec = kivdbxt.LastErrorRecord()
    assert (rec.Number, rec.Source, rec.Description) == \
        (429, "KivDbXtOle.CreateObject", "ActiveX component can't create object")


def test_values_cross_as_python_values():
    coll = kivdbxt.Collection()
    assert coll.Add(1) is False and coll.Add("two", "k") is False
    assert coll.Add(kivdbxt.Typed(3, kivdbxt.vbInteger)) is False
    assert coll.Add(b"\x00\xff") is False and coll.Add(None) is False
    assert list(coll) == [1, "two", 3, b"\x00\xff", None]
    assert coll["k"] == "two" and coll.Item(2) == "two" and coll[-1] is None
    assert coll.Item(9) is kivdbxt.Empty and kivdbxt.LastErrorRecord().Number == 9
