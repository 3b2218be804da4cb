// KivLog and KivLogInfo. Parameters the library writes back come after the result in a tuple.
#include "bind.h"

namespace kivpy {
namespace {

using kiv::KivLog;
using kiv::KivLogFilter;
using kiv::KivLogInfo;
using kiv::String;
using InfoRef = std::shared_ptr<KivLogInfo>;
using FilterRef = std::shared_ptr<KivLogFilter>;

void BindInfo(py::module_& m) {
  py::class_<KivLogInfo, kiv::Object, std::shared_ptr<KivLogInfo>>(
      m, "KivLogInfo", "The descriptor of one daily log (one application, one day)")
      .def(py::init<>())
      .KIVPY_PROP(KivLogInfo, unk, String)
      .KIVPY_PROP(KivLogInfo, AppId, String)
      .KIVPY_PROP(KivLogInfo, Path, String)
      .KIVPY_PROP(KivLogInfo, FileName, String)
      .KIVPY_PROP(KivLogInfo, Computer, String)
      .KIVPY_PROP(KivLogInfo, User, String)
      .KIVPY_PROP(KivLogInfo, Events, int32_t)
      .KIVPY_PROP(KivLogInfo, LogData, std::shared_ptr<kiv::Collection>)
      .KIVPY_PROP(KivLogInfo, Options, int32_t)
      .KIVPY_PROP(KivLogInfo, MaxSize, int32_t)
      .def("CopyTo", &KivLogInfo::CopyTo, py::arg("EvLog"))
      .def_property_readonly("Day", &KivLogInfo::Day)
      .def_property_readonly("DateCreated",
                             [](const KivLogInfo& i) { return OleDate(i.DateCreated()); });
}

void BindOpenWrite(py::class_<KivLog, kiv::Object, std::shared_ptr<KivLog>>& c) {
  c.def(
       "EventLogOpenEx",
       [](KivLog& log, String AppId, String Path, int32_t Mode, OleDate CurrDate,
          const String& Computer, const String& User, int32_t MaxSize) {
         int32_t id = log.EventLogOpenEx(AppId, Path, Mode, CurrDate, Computer, User, MaxSize);
         return std::make_tuple(id, AppId, Path);
       },
       "Returns (Id, AppId, Path).", py::arg("AppId"), py::arg("Path") = String(),
       py::arg("Mode") = int32_t{kiv::ELOF_OPENALWAYS}, py::arg_v("CurrDate", OleDate(0), "0"),
       py::arg("Computer") = String(), py::arg("User") = String(), py::arg("MaxSize") = 0)
      .def(
          "EventLogOpen",
          [](KivLog& log, String AppId, String Path, int32_t Mode, OleDate CurrDate,
             const String& Computer, const String& User) {
            int32_t id = log.EventLogOpen(AppId, Path, Mode, CurrDate, Computer, User);
            return std::make_tuple(id, AppId, Path);
          },
          "Returns (Id, AppId, Path).", py::arg("AppId"), py::arg("Path") = String(),
          py::arg("Mode") = int32_t{kiv::ELOF_OPENALWAYS}, py::arg_v("CurrDate", OleDate(0), "0"),
          py::arg("Computer") = String(), py::arg("User") = String())
      .def("EventLogWrite", &KivLog::EventLogWrite, py::arg("Id"), py::arg("Source") = String(),
           py::arg("RawData") = String(), py::arg("RawDataType") = int32_t{kiv::RWDT_ASCII},
           py::arg("EventType") = int32_t{kiv::EVENTLOG_WARNING_TYPE},
           py::arg("Category") = String(), py::arg("EventId") = 0, py::arg("Server") = String())
      .def("EventLogWriteBatch", &KivLog::EventLogWriteBatch, py::arg("Id"), py::arg("Events"))
      .def("EventLogClose", &KivLog::EventLogClose, py::arg("Id"))
      .def(
          "EventLogInfo",
          [](KivLog& log, int32_t Id, InfoRef EvLog) {
            bool r = log.EventLogInfo(Id, EvLog);
            return std::make_tuple(r, EvLog);
          },
          "Returns (result, EvLog).", py::arg("Id"), py::arg("EvLog") = InfoRef())
      .def("EventLogMaxSize", py::overload_cast<int32_t>(&KivLog::EventLogMaxSize), py::arg("Id"))
      .def("SetEventLogMaxSize", py::overload_cast<int32_t, int32_t>(&KivLog::EventLogMaxSize),
           "Sets the size limit in bytes of the open log Id (0: none).", py::arg("Id"),
           py::arg("value"))
      .def("EventLogOptions", py::overload_cast<int32_t>(&KivLog::EventLogOptions), py::arg("Id"))
      .def("SetEventLogOptions", py::overload_cast<int32_t, int32_t>(&KivLog::EventLogOptions),
           "Sets the KivLogInfo_Options flags of the open log Id.", py::arg("Id"),
           py::arg("value"));
}

void BindRead(py::class_<KivLog, kiv::Object, std::shared_ptr<KivLog>>& c) {
  c.def(
       "EventLogRead",
       [](KivLog& log, const InfoRef& EvLog, int32_t Start, int32_t Count) {
         bool r = log.EventLogRead(EvLog, Start, Count);
         return std::make_tuple(r, Start);
       },
       "Returns (result, Start).", py::arg("EvLog"), py::arg("Start"), py::arg("Count") = 1)
      .def(
          "EventLogReadBack",
          [](KivLog& log, const InfoRef& EvLog, int32_t Start, int32_t Count, bool Adjust) {
            bool r = log.EventLogReadBack(EvLog, Start, Count, Adjust);
            return std::make_tuple(r, Start);
          },
          "Returns (result, Start).", py::arg("EvLog"), py::arg("Start"), py::arg("Count") = 1,
          py::arg("Adjust") = false)
      .def(
          "EventLogFilter",
          [](KivLog& log, const InfoRef& EvLog, int32_t Start, const FilterRef& Filter,
             int32_t Count) {
            bool r = log.EventLogFilter(EvLog, Start, Filter, Count);
            return std::make_tuple(r, Start);
          },
          "Returns (result, Start).", py::arg("EvLog"), py::arg("Start"), py::arg("Filter"),
          py::arg("Count") = 1)
      .def(
          "EventLogFilterBack",
          [](KivLog& log, const InfoRef& EvLog, int32_t Start, const FilterRef& Filter,
             int32_t Count, bool Adjust) {
            bool r = log.EventLogFilterBack(EvLog, Start, Filter, Count, Adjust);
            return std::make_tuple(r, Start);
          },
          "Returns (result, Start).", py::arg("EvLog"), py::arg("Start"), py::arg("Filter"),
          py::arg("Count") = 1, py::arg("Adjust") = false);
}

}  // namespace

void BindDailyLogs(py::module_& m) {
  BindInfo(m);
  auto c = py::class_<KivLog, kiv::Object, std::shared_ptr<KivLog>>(
      m, "KivLog", "Per-application daily logs", py::dynamic_attr());
  c.def(py::init<>())
      .def("LogDefaultPath", &KivLog::LogDefaultPath)
      .def(
          "LogFileName",
          [](KivLog& log, const String& AppId, String Path, OleDate CurrDate) {
            String name = log.LogFileName(AppId, Path, CurrDate);
            return std::make_tuple(name, Path);
          },
          "Returns (name, Path).", py::arg("AppId"), py::arg("Path") = String(),
          py::arg_v("CurrDate", OleDate(0), "0"))
      .def_property_readonly("EXTLOGDATA", &KivLog::EXTLOGDATA)
      .def_property_readonly("EXTLOGINDEX", &KivLog::EXTLOGINDEX)
      .def("EventLogList", &KivLog::EventLogList, py::arg("RetLogs"), py::arg("Path") = String())
      .def("RenameLog", &KivLog::RenameLog, py::arg("LogName"))
      .def("EventLogPurge", &KivLog::EventLogPurge, py::arg("Id") = 0)
      .def(
          "EventLogPurgeEx",
          [](KivLog& log, OleDate Before, const String& AppId, const String& Path) {
            kiv::Date before = Before;
            return log.EventLogPurgeEx(before, AppId, Path);
          },
          py::arg("Before"), py::arg("AppId") = String(), py::arg("Path") = String());
  BindOpenWrite(c);
  BindRead(c);
}

}  // namespace kivpy
