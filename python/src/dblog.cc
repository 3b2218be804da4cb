// KivLogFile and its record. Parameters the library writes back come after the result.
#include "bind.h"

namespace kivpy {
namespace {

using kiv::KivLogFile;
using kiv::LOGRECORDTYPE;
using kiv::String;

void BindRecord(py::module_& m) {
  py::class_<LOGRECORDTYPE>(m, "LOGRECORDTYPE", "One record of the database event log")
      .def(py::init<>(), "An empty record: every number 0, every text empty")
      .def_readwrite("EvUnk", &LOGRECORDTYPE::EvUnk)
      .def_property(
          "EvDate", [](const LOGRECORDTYPE& r) { return OleDate(r.EvDate); },
          [](LOGRECORDTYPE& r, OleDate d) { r.EvDate = d; })
      .def_readwrite("EvType", &LOGRECORDTYPE::EvType)
      .def_readwrite("EvCategory", &LOGRECORDTYPE::EvCategory)
      .def_readwrite("EvId", &LOGRECORDTYPE::EvId)
      .def_readwrite("EvUser", &LOGRECORDTYPE::EvUser)
      .def_readwrite("EvComputer", &LOGRECORDTYPE::EvComputer)
      .def_readwrite("EvSource", &LOGRECORDTYPE::EvSource)
      .def_readwrite("EvServer", &LOGRECORDTYPE::EvServer)
      .def_readwrite("EvRawData", &LOGRECORDTYPE::EvRawData);
}

using Class = py::class_<KivLogFile, kiv::Object, std::shared_ptr<KivLogFile>>;

void BindSettings(Class& c) {
  c.def("CreateEventLog", &KivLogFile::CreateEventLog, py::arg("sFileName"),
        py::arg("lMaxRecords") = 1000, py::arg("eWrapping") = int32_t{kiv::KLFWM_OVERWRITEOLDER},
        py::arg("lWrappingDays") = 7, py::arg("sBacupkFile") = String())
      .def("OpenEventLog", &KivLogFile::OpenEventLog, py::arg("sFileName"),
           py::arg("bKeepAlive") = false)
      .def("OpenEventLogReadOnly", &KivLogFile::OpenEventLogReadOnly, py::arg("sFileName"),
           py::arg("bKeepAlive") = false)
      .def_property_readonly("ReadOnly", &KivLogFile::ReadOnly)
      .def("CloseEventLog", &KivLogFile::CloseEventLog)
      .def("CompactEventLog", &KivLogFile::CompactEventLog)
      .def_property_readonly("FileName", &KivLogFile::FileName)
      .def_property("KeepAlive", py::overload_cast<>(&KivLogFile::KeepAlive, py::const_),
                    py::overload_cast<bool>(&KivLogFile::KeepAlive))
      .def("BackupFileSet", &KivLogFile::BackupFileSet, py::arg("sFileName"))
      .def(
          "BackupFileGet",
          [](KivLogFile& f) {
            String name;
            bool r = f.BackupFileGet(name);
            return std::make_tuple(r, name);
          },
          "Returns (result, sFileName).")
      .def("MaxRecordsSet", &KivLogFile::MaxRecordsSet, py::arg("lMaxRecords"))
      .def(
          "MaxRecordsGet",
          [](KivLogFile& f) {
            int32_t n = 0;
            bool r = f.MaxRecordsGet(n);
            return std::make_tuple(r, n);
          },
          "Returns (result, lMaxRecords).")
      .def("WrappingSet", &KivLogFile::WrappingSet, py::arg("lWrapping"), py::arg("lWrappingDays"))
      .def(
          "WrappingGet",
          [](KivLogFile& f) {
            int32_t w = 0, d = 0;
            bool r = f.WrappingGet(w, d);
            return std::make_tuple(r, w, d);
          },
          "Returns (result, lWrapping, lWrappingDays).")
      .def("SyncModeSet", &KivLogFile::SyncModeSet, py::arg("sMode"))
      .def(
          "SyncModeGet",
          [](KivLogFile& f) {
            String mode;
            bool r = f.SyncModeGet(mode);
            return std::make_tuple(r, mode);
          },
          "Returns (result, sMode).")
      .def("RetryWaitMilliseconds", &KivLogFile::RetryWaitMilliseconds, py::arg("ms"));
}

void BindReport(Class& c) {
  c.def(
       "ReportEvent",
       [](KivLogFile& f, const String& Source, const String& RawData, int32_t EventType,
          const String& Category, int32_t EventId, String User, String Computer,
          const String& Server) {
         bool r =
             f.ReportEvent(Source, RawData, EventType, Category, EventId, User, Computer, Server);
         return std::make_tuple(r, User, Computer);
       },
       "Returns (result, User, Computer), with the names used.", py::arg("Source"),
       py::arg("RawData"), py::arg("EventType") = int32_t{kiv::EVENTLOG_WARNING_TYPE},
       py::arg("Category") = String(), py::arg("EventId") = 0, py::arg("User") = String(),
       py::arg("Computer") = String(), py::arg("Server") = String())
      .def(
          "ReportEventEx",
          [](KivLogFile& f, const String& Source, const String& RawData, int32_t RawDataType,
             int32_t EventType, const String& Category, int32_t EventId, String User,
             String Computer, const String& Server) {
            bool r = f.ReportEventEx(Source, RawData, RawDataType, EventType, Category, EventId,
                                     User, Computer, Server);
            return std::make_tuple(r, User, Computer);
          },
          "Returns (result, User, Computer), with the names used.", py::arg("Source"),
          py::arg("RawData"), py::arg("RawDataType"),
          py::arg("EventType") = int32_t{kiv::EVENTLOG_WARNING_TYPE},
          py::arg("Category") = String(), py::arg("EventId") = 0, py::arg("User") = String(),
          py::arg("Computer") = String(), py::arg("Server") = String())
      .def("PurgeEventLog", &KivLogFile::PurgeEventLog, py::arg("Records") = 0, py::arg("Days") = 0,
           py::arg("SubSet") = String())
      .def("Purge", &KivLogFile::Purge, py::arg("Records") = 0, py::arg("Days") = 0)
      .def("BackupEventLog", &KivLogFile::BackupEventLog, py::arg("sFileName"),
           py::arg("Flags") = 0)
      .def("Backup", &KivLogFile::Backup, py::arg("sFileName"))
      .def("SubscribeEventLogChanged", &KivLogFile::SubscribeEventLogChanged, py::arg("handler"))
      .def("UnsubscribeEventLogChanged", &KivLogFile::UnsubscribeEventLogChanged, py::arg("token"));
}

void BindRead(Class& c) {
  c.def("ReadEventLogQueryStr", &KivLogFile::ReadEventLogQueryStr,
        py::arg("Flags") = int32_t{kiv::ELREF_FIRST}, py::arg("RecordPos") = 0,
        py::arg("SubSet") = String(), py::arg("OrderBy") = String())
      .def(
          "ReadEventLog",
          [](KivLogFile& f, int32_t Flags, int32_t RecordPos, const String& SubSet,
             const String& OrderBy) {
            int32_t r = f.ReadEventLog(Flags, RecordPos, SubSet, OrderBy);
            return std::make_tuple(r, RecordPos);
          },
          "Returns (result, RecordPos).", py::arg("Flags") = int32_t{kiv::ELREF_FIRST},
          py::arg("RecordPos") = 0, py::arg("SubSet") = String(), py::arg("OrderBy") = String())
      .def(
          "ReadEventLogEx",
          [](KivLogFile& f, int32_t Flags, int32_t RecordPos, const String& SubSet,
             const String& OrderBy, int32_t MaxRecords) {
            int32_t r = f.ReadEventLogEx(Flags, RecordPos, SubSet, OrderBy, MaxRecords);
            return std::make_tuple(r, RecordPos, MaxRecords);
          },
          "Returns (result, RecordPos, MaxRecords).", py::arg("Flags"), py::arg("RecordPos"),
          py::arg("SubSet") = String(), py::arg("OrderBy") = String(), py::arg("MaxRecords") = 1)
      .def_property_readonly("LogRecord", &KivLogFile::LogRecord)
      .def("LogRecordEx", &KivLogFile::LogRecordEx, py::arg("RecNum"))
      .def(
          "CheckEventLogChanges",
          [](KivLogFile& f, int32_t unk) {
            int32_t r = f.CheckEventLogChanges(unk);
            return std::make_tuple(r, unk);
          },
          "Returns (result, unk).", py::arg("unk") = 0)
      .def(
          "WaitEventLogChanges",
          [](KivLogFile& f, int32_t TimeoutMs, int32_t unk) {
            int32_t r;
            {
              py::gil_scoped_release unlocked;  // other Python threads run while it waits
              r = f.WaitEventLogChanges(TimeoutMs, unk);
            }
            return std::make_tuple(r, unk);
          },
          "Returns (result, unk). Other Python threads run while it waits.", py::arg("TimeoutMs"),
          py::arg("unk") = 0)
      .def(
          "ReadEventLogAfter",
          [](KivLogFile& f, int64_t LastId, int32_t MaxRecords) {
            int32_t r = f.ReadEventLogAfter(LastId, MaxRecords);
            return std::make_tuple(r, LastId, MaxRecords);
          },
          "Returns (result, LastId, MaxRecords).", py::arg("LastId"), py::arg("MaxRecords") = 100);
}

}  // namespace

void BindDatabaseLog(py::module_& m) {
  BindRecord(m);
  Class c(m, "KivLogFile", "An event log kept in a database file", py::dynamic_attr());
  c.def(py::init<>());
  BindSettings(c);
  BindReport(c);
  BindRead(c);
}

}  // namespace kivpy
