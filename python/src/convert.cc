#include "convert.h"

#include <datetime.h>

#include <chrono>
#include <cmath>

namespace kivpy {
namespace {

// Module objects kept for the life of the process (never destroyed: conversions may run while
// the interpreter shuts down).
py::object* empty_marker = nullptr;
py::object* missing_marker = nullptr;
py::object* decimal_type = nullptr;

constexpr int64_t kMicrosPerDay = 86400LL * 1000000;

namespace chr = std::chrono;

const chr::sys_days kOleEpoch = chr::year{1899} / 12 / 30;

// An OLE date counts whole days from the epoch; the fraction is the time of that day, counted
// forwards even for days before the epoch (-1.25 is 1899-12-29 06:00).
kiv::Date OleFromParts(int y, int mo, int d, int64_t micros_of_day) {
  const chr::sys_days day = chr::year{y} / mo / d;
  const double days = static_cast<double>((day - kOleEpoch).count());
  const double frac = static_cast<double>(micros_of_day) / static_cast<double>(kMicrosPerDay);
  return days < 0 ? days - frac : days + frac;
}

}  // namespace

py::object DateToPython(kiv::Date value) {
  if (!std::isfinite(value)) throw py::value_error("not a date");
  double day = std::trunc(value);
  int64_t micros = std::llround(std::fabs(value - day) * static_cast<double>(kMicrosPerDay));
  if (micros >= kMicrosPerDay) {
    day += 1;
    micros = 0;
  }
  const chr::year_month_day ymd{kOleEpoch + chr::days{static_cast<int64_t>(day)}};
  const int y = static_cast<int>(ymd.year());
  if (y < 1 || y > 9999) throw py::value_error("date out of range");
  const int us = static_cast<int>(micros % 1000000);
  const int64_t secs = micros / 1000000;
  return py::reinterpret_steal<py::object>(PyDateTime_FromDateAndTime(
      y, static_cast<int>(static_cast<unsigned>(ymd.month())),
      static_cast<int>(static_cast<unsigned>(ymd.day())), static_cast<int>(secs / 3600),
      static_cast<int>(secs / 60 % 60), static_cast<int>(secs % 60), us));
}

bool DateFromPython(py::handle h, kiv::Date& out) {
  PyObject* o = h.ptr();
  if (PyDateTime_Check(o)) {
    const int64_t micros =
        ((PyDateTime_DATE_GET_HOUR(o) * 60LL + PyDateTime_DATE_GET_MINUTE(o)) * 60 +
         PyDateTime_DATE_GET_SECOND(o)) *
            1000000 +
        PyDateTime_DATE_GET_MICROSECOND(o);
    out = OleFromParts(PyDateTime_GET_YEAR(o), PyDateTime_GET_MONTH(o), PyDateTime_GET_DAY(o),
                       micros);
    return true;
  }
  if (PyDate_Check(o)) {
    out = OleFromParts(PyDateTime_GET_YEAR(o), PyDateTime_GET_MONTH(o), PyDateTime_GET_DAY(o), 0);
    return true;
  }
  if (PyFloat_Check(o) || (PyLong_Check(o) && !PyBool_Check(o))) {
    out = PyFloat_AsDouble(o);
    return !PyErr_Occurred() || (PyErr_Clear(), false);
  }
  return false;
}

py::object VariantToPython(const kiv::Variant& v) {
  if (v.IsArray()) {
    if ((v.Type() & ~kiv::vbArray) == kiv::vbByte) {
      const auto& b = v.Bytes();
      return py::bytes(reinterpret_cast<const char*>(b.data()), b.size());
    }
    py::list items;
    for (const kiv::Variant& item : v.Items()) items.append(VariantToPython(item));
    return items;
  }
  switch (v.Type()) {
    case kiv::vbEmpty:
      return *empty_marker;
    case kiv::vbNull:
      return py::none();
    case kiv::vbBoolean:
      return py::bool_(v.BoolValue());
    case kiv::vbByte:
    case kiv::vbInteger:
    case kiv::vbLong:
      return py::int_(v.IntValue());
    case kiv::vbSingle:
    case kiv::vbDouble:
      return py::float_(v.DoubleValue());
    case kiv::vbCurrency:
      return (*decimal_type)(v.IntValue()).attr("scaleb")(-4);
    case kiv::vbDate:
      return DateToPython(v.DoubleValue());
    case kiv::vbString:
      return py::cast(v.StringValue());
    case kiv::vbObject:
      return py::cast(v.ObjectValue());
    case kiv::vbError:
      if (v.IsMissing()) return *missing_marker;
      return py::int_(v.IntValue());
  }
  return py::none();
}

kiv::Variant VariantFromPython(py::handle h) {
  if (h.is_none()) return kiv::Variant::Null();
  if (h.is(*empty_marker)) return kiv::Variant();
  if (h.is(*missing_marker)) return kiv::Variant::Missing();
  if (py::isinstance<Typed>(h)) return h.cast<const Typed&>().value;
  if (PyBool_Check(h.ptr())) return kiv::Variant(h.cast<bool>());
  if (PyLong_Check(h.ptr())) {
    const long long n = h.cast<long long>();
    if (n >= INT32_MIN && n <= INT32_MAX) return kiv::Variant(static_cast<int32_t>(n));
    return kiv::Variant(static_cast<double>(n));
  }
  if (PyFloat_Check(h.ptr())) return kiv::Variant(h.cast<double>());
  if (py::isinstance(h, *decimal_type)) {
    const double scaled = py::float_(h.attr("scaleb")(4)).cast<double>();
    return kiv::Variant(kiv::Currency{std::llround(scaled)});
  }
  if (PyUnicode_Check(h.ptr())) return kiv::Variant(h.cast<kiv::String>());
  kiv::Date d;
  if ((PyDateTime_Check(h.ptr()) || PyDate_Check(h.ptr())) && DateFromPython(h, d)) {
    return kiv::Variant::FromDate(d);
  }
  if (PyBytes_Check(h.ptr()) || PyByteArray_Check(h.ptr()) || PyMemoryView_Check(h.ptr())) {
    std::string s = py::bytes(py::reinterpret_borrow<py::object>(h));
    return kiv::Variant(std::vector<uint8_t>(s.begin(), s.end()));
  }
  if (py::isinstance<kiv::Object>(h)) return kiv::Variant(h.cast<std::shared_ptr<kiv::Object>>());
  if (PyList_Check(h.ptr()) || PyTuple_Check(h.ptr())) {
    std::vector<kiv::Variant> items;
    for (py::handle item : h) items.push_back(VariantFromPython(item));
    return kiv::Variant(std::move(items));
  }
  throw py::type_error("no automation value for " + std::string(py::str(h.get_type())));
}

void InitConvert(py::module_& m) {
  PyDateTime_IMPORT;
  if (!PyDateTimeAPI) throw py::error_already_set();
  py::class_<Marker>(m, "_Marker")
      .def("__repr__", [](const Marker& k) { return k.kind == kiv::vbEmpty ? "Empty" : "Missing"; })
      .def("__bool__", [](const Marker&) { return false; });
  empty_marker = new py::object(py::cast(Marker{kiv::vbEmpty}));
  missing_marker = new py::object(py::cast(Marker{kiv::vbError}));
  m.attr("Empty") = *empty_marker;
  m.attr("Missing") = *missing_marker;
  decimal_type = new py::object(py::module_::import("decimal").attr("Decimal"));

  py::class_<Typed>(m, "Typed",
                    "A value converted to one automation type (a VarType), for the arguments "
                    "whose type matters: Typed(5, vbInteger).")
      .def(py::init([](py::handle value, int vartype) {
             kiv::Variant v = VariantFromPython(value);
             std::optional<kiv::Variant> out;
             switch (vartype) {
               case kiv::vbBoolean:
                 if (auto x = v.ToBool()) out = kiv::Variant(*x);
                 break;
               case kiv::vbByte:
                 if (auto x = v.ToByte()) out = kiv::Variant(*x);
                 break;
               case kiv::vbInteger:
                 if (auto x = v.ToInteger()) out = kiv::Variant(*x);
                 break;
               case kiv::vbLong:
                 if (auto x = v.ToLong()) out = kiv::Variant(*x);
                 break;
               case kiv::vbSingle:
                 if (auto x = v.ToSingle()) out = kiv::Variant(*x);
                 break;
               case kiv::vbDouble:
                 if (auto x = v.ToDouble()) out = kiv::Variant(*x);
                 break;
               case kiv::vbCurrency:
                 if (auto x = v.ToCurrency()) out = kiv::Variant(*x);
                 break;
               case kiv::vbDate:
                 if (auto x = v.ToDate()) out = kiv::Variant::FromDate(*x);
                 break;
               case kiv::vbString:
                 if (auto x = v.ToString()) out = kiv::Variant(*x);
                 break;
               default:
                 throw py::value_error("VarType not offered: " + std::to_string(vartype));
             }
             if (!out) throw py::value_error("the value does not convert to that VarType");
             return Typed{*out};
           }),
           "Converts value to the automation type vartype, as the run time's conversions do.",
           py::arg("value"), py::arg("vartype"))
      .def_property_readonly(
          "VarType", [](const Typed& t) { return t.value.Type(); }, "The automation type held")
      .def_property_readonly(
          "value", [](const Typed& t) { return VariantToPython(t.value); },
          "The value held, as a Python value")
      .def("__repr__", [](const Typed& t) {
        return "Typed(" + std::string(py::repr(VariantToPython(t.value))) + ", " +
               std::to_string(t.value.Type()) + ")";
      });
}

}  // namespace kivpy
