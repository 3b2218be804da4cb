// KivSector, the sector store: bound when the library has it. SectorWrite gives back the RecId
// of a new record, SectorRead the record and SectorInfo its size and date, after the result.
#include "bind.h"

#if __has_include(<kivdbxt/kiv_sector.h>)
#include <kivdbxt/kiv_sector.h>

namespace kivpy {

void BindSector(py::module_& m) {
  using kiv::KivSector;
  using kiv::String;
  py::class_<KivSector, kiv::Object, std::shared_ptr<KivSector>>(
      m, "KivSector", "A record store in three files (.QVD, .QVF, .QVS)", py::dynamic_attr())
      .def(py::init<>())
      .def("SectorCreate", &KivSector::SectorCreate, py::arg("FileName"),
           py::arg("SectorSize") = 512)
      .def("SectorOpen", &KivSector::SectorOpen, py::arg("FileName"), py::arg("ReadOnly") = false)
      .def("SectorClose", &KivSector::SectorClose)
      .def(
          "SectorWrite",
          [](KivSector& s, int32_t RecId, const kiv::Variant& Data) {
            bool r = s.SectorWrite(RecId, Data);
            return std::make_tuple(r, RecId);
          },
          "Returns (result, RecId).", py::arg("RecId"), py::arg("Data"))
      .def(
          "SectorRead",
          [](KivSector& s, int32_t RecId) {
            kiv::Variant data;
            bool r = s.SectorRead(RecId, data);
            return std::make_tuple(r, data);
          },
          "Returns (result, Data): a str for text, bytes for bytes.", py::arg("RecId"))
      .def("SectorDelete", &KivSector::SectorDelete, py::arg("RecId"))
      .def(
          "SectorInfo",
          [](KivSector& s, int32_t RecId) {
            int64_t length = 0;
            kiv::Date modified = 0;
            bool r = s.SectorInfo(RecId, length, modified);
            return std::make_tuple(r, length, OleDate(modified));
          },
          "Returns (result, Length, Modified).", py::arg("RecId"))
      .def("SectorList", &KivSector::SectorList, py::arg("RetIds"))
      .def("SectorFlush", &KivSector::SectorFlush)
      .def("SectorCompact", &KivSector::SectorCompact)
      .def("SectorVerify", &KivSector::SectorVerify, py::arg("Damaged"))
      .def_property_readonly("FileName", &KivSector::FileName)
      .def_property_readonly("SectorSize", &KivSector::SectorSize)
      .def_property_readonly("Records", &KivSector::Records)
      .def_property("Debug", py::overload_cast<>(&KivSector::Debug, py::const_),
                    py::overload_cast<bool>(&KivSector::Debug))
      .def_property("SyncWrites", py::overload_cast<>(&KivSector::SyncWrites, py::const_),
                    py::overload_cast<bool>(&KivSector::SyncWrites));
}

}  // namespace kivpy

#else

namespace kivpy {
void BindSector(py::module_&) {}  // this library has no sector store yet
}  // namespace kivpy

#endif
