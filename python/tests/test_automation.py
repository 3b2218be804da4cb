"""A script written as an automation client writes it: every object made by ProgID and every
member reached late bound, by name."""
import kivdbxt


def call(obj, name, *args):
    return getattr(obj, name)(*args)


def test_late_bound_script(folder):
    log = kivdbxt.CreateObject("KivDbXtOle.KivLog")
    Id, _, _ = call(log, "EventLogOpen", "SCRIPT", folder)
    for i in range(3):
        assert call(log, "EventLogWrite", Id, "script", "step %d" % i) is False
    info = kivdbxt.CreateObject("KivDbXtOle.KivLogInfo")
    failed, info = call(log, "EventLogInfo", Id, info)
    assert failed is False and getattr(info, "AppId") == "SCRIPT"
    assert call(log, "EventLogClose", Id) is False
    reader = kivdbxt.CreateObject("{D3C54843-6E21-11D4-ABC6-0060978F277D}")  # KivLogInfo
    setattr(reader, "FileName", getattr(info, "FileName"))
    flt = kivdbxt.CreateObject("KivDbXtOle.KivLogFilter")
    setattr(flt, "Checks", kivdbxt.LGFF_CHECKRAWDATA)
    call(flt, "RawDatasAdd", "step 1")
    assert call(log, "EventLogFilter", reader, 1, flt, 10) == (False, 1)
    found = getattr(reader, "LogData")
    assert getattr(found, "Count") == 1
    assert getattr(call(found, "Item", 1), "EvRawData") == "step 1"
    db = kivdbxt.CreateObject("KivDbXtOle.KivLogFile")
    assert call(db, "CreateEventLog", folder + "/s.db") is False
    assert call(db, "ReportEvent", "script", "done")[0] is False
    assert call(db, "ReadEventLog", kivdbxt.ELREF_LAST)[0] == 0
    assert getattr(getattr(db, "LogRecord"), "EvRawData") == "done"
