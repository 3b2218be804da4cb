// A JScript client: create by ProgID, write and read a day's log, walk LogData with Enumerator,
// read the recorded error, record a script's own.
var passed = 0, failed = 0;
function check(ok, what) {
  if (ok) passed++; else { failed++; WScript.Echo("FAILED: " + what); }
}
var fso = new ActiveXObject("Scripting.FileSystemObject");
var folder = fso.BuildPath(fso.GetSpecialFolder(2), fso.GetTempName());
fso.CreateFolder(folder);
var log = new ActiveXObject("KivDbXtOle.KivLog");
var lastErr = new ActiveXObject("KivDbXtOle.LastError");
var id = log.EventLogOpen("JS", folder);
check(id != 0, "EventLogOpen");
check(log.EventLogWrite(id, "js", "hello", 0, 1, "cat", 42) === false, "EventLogWrite");
check(log.EventLogClose(id) === false, "EventLogClose");
var info = new ActiveXObject("KivDbXtOle.KivLogInfo");
info.FileName = log.LogFileName("JS", folder);
check(log.EventLogRead(info, 1, 10) === false, "EventLogRead");
var ids = [];
for (var en = new Enumerator(info.LogData); !en.atEnd(); en.moveNext()) ids.push(en.item().EvId);
check(ids.join(",") == "1,42,0", "events read: " + ids.join(","));
check(log.EventLogClose(99) === true, "closing an unknown Id is True");
check(lastErr.Source == "KivLog.EventLogClose", "Source: " + lastErr.Source);
// A JScript exception handed to Set_Error: its number (0x800A0035) is the run-time error 53.
try {
  fso.GetFile(folder + "\\none.txt");
} catch (e) {
  lastErr.Set_Error(e, "JS.Open");
}
check(lastErr.Number == 53 && lastErr.Source == "JS.Open",
      "a JScript exception recorded: " + lastErr.Number + " " + lastErr.Source);
fso.DeleteFolder(folder, true);
WScript.Echo(passed + " passed, " + failed + " failed");
