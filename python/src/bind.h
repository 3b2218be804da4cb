// The parts of the module, one per family of classes.
#pragma once

#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "convert.h"

namespace kivpy {

void BindFrame(py::module_& m);        // errors, Err, class table, file numbers, Collection
void BindConstants(py::module_& m);    // the enumerations as module constants
void BindEvents(py::module_& m);       // KivLogEvent, KivLogFilter
void BindDailyLogs(py::module_& m);    // KivLog, KivLogInfo
void BindDatabaseLog(py::module_& m);  // KivLogFile
void BindDao(py::module_& dao);        // the DAO object model (kivdbxt.dao)
void BindHelpers(py::module_& m);      // QvDbXt, KivBlobType
void BindSector(py::module_& m);       // KivSector, when the library has it
void BindDocs(py::module_& m);         // the headers' descriptions, once every class is bound

// A read/write property made of the pair of overloaded member functions named as the property.
#define KIVPY_PROP(C, name, T) \
  def_property(                \
      #name, [](const C& o) -> T { return o.name(); }, [](C& o, T v) { o.name(std::move(v)); })

}  // namespace kivpy
