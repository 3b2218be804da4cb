"""kivdbxt for Python scripts.

Every public class, method, property and constant of the library by its own name (bound in the
compiled module _kivdbxt), used as an automation client uses it: results keep the library's
convention (True = failed, the error in LastErrorRecord()), and parameters the library writes
back come after the result, as a tuple. On top of that, a few Pythonic extras that raise
KivError instead: context managers that close, and iterators over a day's events and over a
database log.
"""
import contextlib

from ._kivdbxt import *  # noqa: F401,F403
from ._kivdbxt import __version__  # noqa: F401
from ._kivdbxt import (ACCESS_DEFAULT, ELOF_OPENALWAYS, ELREF_ABSOLUTE, SHARE_DEFAULT, Err, FileClose, FileOpen,
                       FreeFile, KivError, KivLog, KivLogFile, KivLogInfo, LastErrorRecord, QvDbXt,
                       QvDbXtMethodOrder)
from . import dao  # noqa: F401

# KivError(Number, Description, Source): the fields by name.
KivError.Number = property(lambda self: self.args[0], doc="The error's number")
KivError.Description = property(lambda self: self.args[1], doc="The error's text")
KivError.Source = property(lambda self: self.args[2] if len(self.args) > 2 else "",
                           doc="Where the error arose, as \"Class.Operation\"")


def _method(cls, name):
    """Sets the decorated function on cls as its method name."""
    def put(function):
        function.__name__ = name
        function.__qualname__ = cls.__name__ + "." + name
        setattr(cls, name, function)
        return function
    return put


def _recorded_error():
    rec = LastErrorRecord()
    return KivError(rec.Number, rec.Description, rec.Source)


# QvDbXt is an application object with a predeclared instance: its methods are also global
# functions of the package (kivdbxt.Field_Lenght(10, 5)).
_application = QvDbXt()
for _name in QvDbXtMethodOrder():
    globals()[_name] = getattr(_application, _name)
del _name


@contextlib.contextmanager
def open_file(FileName, Mode, Access=ACCESS_DEFAULT, Share=SHARE_DEFAULT):
    """Opens a file under the lowest free number and closes it at the end of the block."""
    number = FreeFile()
    if number == 0 or FileOpen(number, FileName, Mode, Access, Share):
        raise KivError(Err.Number, Err.Description, Err.Source)
    try:
        yield number
    finally:
        FileClose(number)


@_method(KivLog, "opened")
@contextlib.contextmanager
def _opened(self, AppId, Path="", Mode=ELOF_OPENALWAYS, CurrDate=0, Computer="", User=""):
    """Opens AppId's log of the day (EventLogOpen's arguments) and closes it at the end."""
    Id = self.EventLogOpen(AppId, Path, Mode, CurrDate, Computer, User)[0]
    if Id == 0:
        raise _recorded_error()
    try:
        yield Id
    finally:
        self.EventLogClose(Id)


def _day(self, AppId, Path="", CurrDate=0):
    info = KivLogInfo()
    info.AppId = AppId
    info.FileName, info.Path = self.LogFileName(AppId, Path, CurrDate)
    return info


@_method(KivLog, "events")
def _events(self, AppId, Path="", CurrDate=0, Filter=None, backwards=False, PageSize=256):
    """The events of AppId's log of a day (CurrDate 0: today), first to last, or last to first
    with backwards=True, those that pass Filter when one is given."""
    info = _day(self, AppId, Path, CurrDate)
    start = 2**31 - 1 if backwards else 1
    while start >= 1:
        if backwards and Filter is None:
            failed, _ = self.EventLogReadBack(info, start, PageSize)
        elif backwards:
            failed, _ = self.EventLogFilterBack(info, start, Filter, PageSize)
        elif Filter is None:
            failed, _ = self.EventLogRead(info, start, PageSize)
        else:
            failed, _ = self.EventLogFilter(info, start, Filter, PageSize)
        if failed:
            raise _recorded_error()
        page = list(info.LogData)
        if not page:
            return
        if backwards:
            yield from reversed(page)
            start = page[0].Ordinal - 1
        else:
            yield from page
            start = page[-1].Ordinal + 1


@_method(KivLogFile, "records")
def _records(self, SubSet="", OrderBy="", PageSize=256):
    """The records of the database log (LOGRECORDTYPE), in date order or OrderBy's."""
    pos = 0
    while True:
        result, after, count = self.ReadEventLogEx(ELREF_ABSOLUTE, pos, SubSet, OrderBy, PageSize)
        if result == -1:
            raise _recorded_error()
        if result == 1 or count == 0:
            return
        for i in range(1, count + 1):
            yield self.LogRecordEx(i)
        if count < PageSize:
            return
        pos = after


def _set_changed(self, handler):
    token = getattr(self, "_changed_token", None)
    if token is not None:
        self.UnsubscribeEventLogChanged(token)
    self._changed_token = None if handler is None else self.SubscribeEventLogChanged(handler)
    self._changed_handler = handler


KivLogFile.EventLogChanged = property(
    lambda self: getattr(self, "_changed_handler", None), _set_changed,
    doc="The callable called as EventLogChanged(EvUnk, EvType, EvId) after each record stored")


def _enter(self):
    """The object itself, for a with block."""
    return self


_enter.__name__ = _enter.__qualname__ = "__enter__"


@_method(KivLogFile, "__exit__")
def _close_log(self, *exc):
    """Closes the log at the end of a with block (CloseEventLog)."""
    self.CloseEventLog()


KivLogFile.__enter__ = _enter
if "KivSector" in globals():
    @_method(KivSector, "__exit__")  # noqa: F405
    def _close_store(self, *exc):
        """Closes the store at the end of a with block (SectorClose)."""
        self.SectorClose()

    KivSector.__enter__ = _enter  # noqa: F405
