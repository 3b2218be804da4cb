// Conversions between the library's values and Python's: kiv::Variant to and from Python
// objects, and OLE dates to and from datetime.datetime (a float OLE date is accepted too).
#pragma once

#include <kivdbxt/kivdbxt.h>
#include <pybind11/pybind11.h>

namespace kivpy {

namespace py = pybind11;

// A date argument or result: the caster turns it into datetime.datetime and takes a datetime,
// a date or a number (OLE date).
struct OleDate {
  kiv::Date value = 0;
  OleDate() = default;
  OleDate(kiv::Date v) : value(v) {}
  operator kiv::Date() const { return value; }
};

// A value of a chosen automation type, for the arguments whose type matters (Blob_Put writes an
// Integer in 2 bytes, a Long in 4): kivdbxt.Typed(5, kivdbxt.vbInteger).
struct Typed {
  kiv::Variant value;
};

// The markers of the Variant states Python has no value for: Empty and Missing (an optional
// argument not passed). Null is None.
struct Marker {
  int kind;  // kiv::vbEmpty or kiv::vbError (Missing)
};

py::object DateToPython(kiv::Date d);
// False when the object is neither a datetime, a date nor a number.
bool DateFromPython(py::handle h, kiv::Date& out);

py::object VariantToPython(const kiv::Variant& v);
// Raises TypeError for an object no Variant can hold.
kiv::Variant VariantFromPython(py::handle h);

// Module-level objects the conversions use; set up by the module before anything converts.
void InitConvert(py::module_& m);

}  // namespace kivpy

namespace pybind11::detail {

template <>
struct type_caster<kiv::Variant> {
  PYBIND11_TYPE_CASTER(kiv::Variant, const_name("Any"));
  bool load(handle src, bool) {
    try {
      value = kivpy::VariantFromPython(src);
      return true;
    } catch (const error_already_set&) {
      PyErr_Clear();
      return false;
    } catch (const cast_error&) {
      return false;
    }
  }
  static handle cast(const kiv::Variant& v, return_value_policy, handle) {
    return kivpy::VariantToPython(v).release();
  }
};

template <>
struct type_caster<kivpy::OleDate> {
  PYBIND11_TYPE_CASTER(kivpy::OleDate, const_name("datetime.datetime"));
  bool load(handle src, bool) { return kivpy::DateFromPython(src, value.value); }
  static handle cast(kivpy::OleDate d, return_value_policy, handle) {
    return kivpy::DateToPython(d.value).release();
  }
};

}  // namespace pybind11::detail
