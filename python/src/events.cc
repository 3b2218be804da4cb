// KivLogEvent and KivLogFilter.
#include "bind.h"

namespace kivpy {

void BindEvents(py::module_& m) {
  using kiv::KivLogEvent;
  py::class_<KivLogEvent, kiv::Object, std::shared_ptr<KivLogEvent>>(
      m, "KivLogEvent", "One event of a daily log and its text form")
      .def(py::init<>())
      .KIVPY_PROP(KivLogEvent, EvUnk, int32_t)
      .KIVPY_PROP(KivLogEvent, EvDate, OleDate)
      .KIVPY_PROP(KivLogEvent, EvType, int32_t)
      .KIVPY_PROP(KivLogEvent, EvCategory, kiv::String)
      .KIVPY_PROP(KivLogEvent, EvId, int32_t)
      .KIVPY_PROP(KivLogEvent, EvUser, kiv::String)
      .KIVPY_PROP(KivLogEvent, EvComputer, kiv::String)
      .KIVPY_PROP(KivLogEvent, EvSource, kiv::String)
      .KIVPY_PROP(KivLogEvent, EvServer, kiv::String)
      .KIVPY_PROP(KivLogEvent, EvRawData, kiv::String)
      .KIVPY_PROP(KivLogEvent, EvDataType, int32_t)
      .KIVPY_PROP(KivLogEvent, Offset, int32_t)
      .def_property_readonly("Ordinal", &KivLogEvent::Ordinal)
      .def(
          "Save", [](KivLogEvent& e, int32_t hndl) { return e.Save(hndl); }, py::arg("hndl"))
      .def(
          "Load", [](KivLogEvent& e, int32_t hndl) { return e.Load(hndl); }, py::arg("hndl"))
      .def("TranslateData", &KivLogEvent::TranslateData)
      .def("RestoreData", &KivLogEvent::RestoreData);

  using kiv::KivLogFilter;
  auto filter = py::class_<KivLogFilter, kiv::Object, std::shared_ptr<KivLogFilter>>(
      m, "KivLogFilter", "The checks an event of a daily log must pass");
  filter.def(py::init<>())
      .KIVPY_PROP(KivLogFilter, Checks, int32_t)
      .KIVPY_PROP(KivLogFilter, DateStart, OleDate)
      .KIVPY_PROP(KivLogFilter, DateEnd, OleDate)
      .def("TypesAdd", &KivLogFilter::TypesAdd, py::arg("nValue"))
      .def("IdsAdd", &KivLogFilter::IdsAdd, py::arg("nValue"))
      .def("CategoriesAdd", &KivLogFilter::CategoriesAdd, py::arg("nValue"))
      .def("UsersAdd", &KivLogFilter::UsersAdd, py::arg("nValue"))
      .def("ComputersAdd", &KivLogFilter::ComputersAdd, py::arg("nValue"))
      .def("SourcesAdd", &KivLogFilter::SourcesAdd, py::arg("nValue"))
      .def("ServersAdd", &KivLogFilter::ServersAdd, py::arg("nValue"))
      .def("RawDatasAdd", &KivLogFilter::RawDatasAdd, py::arg("nValue"))
      .def("TypesClear", &KivLogFilter::TypesClear)
      .def("IdsClear", &KivLogFilter::IdsClear)
      .def("CategoriesClear", &KivLogFilter::CategoriesClear)
      .def("UsersClear", &KivLogFilter::UsersClear)
      .def("ComputersClear", &KivLogFilter::ComputersClear)
      .def("SourcesClear", &KivLogFilter::SourcesClear)
      .def("ServersClear", &KivLogFilter::ServersClear)
      .def("RawDatasClear", &KivLogFilter::RawDatasClear)
      .def_property_readonly("Types", &KivLogFilter::Types)
      .def_property_readonly("Ids", &KivLogFilter::Ids)
      .def_property_readonly("Categories", &KivLogFilter::Categories)
      .def_property_readonly("Users", &KivLogFilter::Users)
      .def_property_readonly("Computers", &KivLogFilter::Computers)
      .def_property_readonly("Sources", &KivLogFilter::Sources)
      .def_property_readonly("Servers", &KivLogFilter::Servers)
      .def_property_readonly("RawDatas", &KivLogFilter::RawDatas)
      .def("CopyTo", &KivLogFilter::CopyTo, py::arg("Filter"))
      .def("IsValid",
           py::overload_cast<const std::shared_ptr<KivLogEvent>&>(&KivLogFilter::IsValid,
                                                                  py::const_),
           py::arg("Eve"));
}

}  // namespace kivpy
