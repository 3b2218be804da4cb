// The error state, Err, the class table and factory, the file numbers and Collection.
#include <optional>

#include "bind.h"

namespace kivpy {
namespace {

std::optional<kiv::String> Text(const char16_t* s) {
  if (!s) return std::nullopt;
  return kiv::String(s);
}

void BindErrors(py::module_& m) {
  // DAO objects raise their failures, as automation objects do: kivdbxt.KivError(Number,
  // Description, Source).
  static py::exception<kiv::Error> error(m, "KivError");
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const kiv::Error& e) {
      py::object args = py::make_tuple(e.number, e.description, e.source);
      PyErr_SetObject(error.ptr(), args.ptr());
    }
  });

  py::class_<kiv::ErrorRecord>(m, "ErrorRecord")
      .def_readonly("Number", &kiv::ErrorRecord::Number)
      .def_readonly("Source", &kiv::ErrorRecord::Source)
      .def_readonly("Description", &kiv::ErrorRecord::Description)
      .def_readonly("HelpFile", &kiv::ErrorRecord::HelpFile)
      .def_readonly("HelpContext", &kiv::ErrorRecord::HelpContext)
      .def_readonly("LastDllError", &kiv::ErrorRecord::LastDllError)
      .def(
          "__iter__",
          [](const kiv::ErrorRecord& r) {
            return py::iter(py::make_tuple(r.Number, r.Source, r.Description, r.HelpFile,
                                           r.HelpContext, r.LastDllError));
          },
          "The six fields in their order, so that a record unpacks as a tuple")
      .def("__repr__", [](const kiv::ErrorRecord& r) {
        return "ErrorRecord(Number=" + std::to_string(r.Number) +
               ", Source=" + std::string(py::repr(py::cast(r.Source))) +
               ", Description=" + std::string(py::repr(py::cast(r.Description))) + ")";
      });
  m.def("LastErrorRecord", &kiv::LastErrorRecord);
  m.def("Last_Error", &kiv::Last_Error);
  m.def("ClearLastError", &kiv::ClearLastError);
  m.def("SystemMessage", &kiv::SystemMessage, py::arg("code"));
  m.def(
      "Set_Error",
      [](const kiv::Variant& Number, const kiv::Variant& Source, const kiv::Variant& Description,
         const kiv::Variant& HelpFile, const kiv::Variant& HelpContext,
         const kiv::Variant& LastDllError, int32_t Flags, const kiv::Variant& Extra,
         int32_t Option) {
        kiv::Set_Error(Number, Source, Description, HelpFile, HelpContext, LastDllError, Flags,
                       Extra, Option);
      },
      py::arg_v("Number", kiv::Variant::Missing(), "Missing"),
      py::arg_v("Source", kiv::Variant::Missing(), "Missing"),
      py::arg_v("Description", kiv::Variant::Missing(), "Missing"),
      py::arg_v("HelpFile", kiv::Variant::Missing(), "Missing"),
      py::arg_v("HelpContext", kiv::Variant::Missing(), "Missing"),
      py::arg_v("LastDllError", kiv::Variant::Missing(), "Missing"), py::arg("Flags") = 0,
      py::arg_v("Extra", kiv::Variant::Missing(), "Missing"), py::arg("Option") = 0);

  py::class_<kiv::ErrObject>(m, "ErrObject", "The current run-time error of the calling thread")
      .KIVPY_PROP(kiv::ErrObject, Number, int32_t)
      .KIVPY_PROP(kiv::ErrObject, Source, kiv::String)
      .KIVPY_PROP(kiv::ErrObject, Description, kiv::String)
      .KIVPY_PROP(kiv::ErrObject, HelpFile, kiv::String)
      .KIVPY_PROP(kiv::ErrObject, HelpContext, int32_t)
      .def_property_readonly("LastDllError", &kiv::ErrObject::LastDllError)
      .def("Raise", &kiv::ErrObject::Raise, py::arg("Number"),
           py::arg_v("Source", kiv::Variant::Missing(), "Missing"),
           py::arg_v("Description", kiv::Variant::Missing(), "Missing"),
           py::arg_v("HelpFile", kiv::Variant::Missing(), "Missing"),
           py::arg_v("HelpContext", kiv::Variant::Missing(), "Missing"))
      .def("Clear", &kiv::ErrObject::Clear);
  m.attr("Err") = py::cast(&kiv::Err(), py::return_value_policy::reference);
}

void BindClassTable(py::module_& m) {
  py::class_<kiv::ClassInfo>(m, "ClassInfo")
      .def_property_readonly("Name", [](const kiv::ClassInfo& c) { return Text(c.Name); })
      .def_property_readonly("Interface", [](const kiv::ClassInfo& c) { return Text(c.Interface); })
      .def_property_readonly("Clsid", [](const kiv::ClassInfo& c) { return Text(c.Clsid); })
      .def_property_readonly("Iid", [](const kiv::ClassInfo& c) { return Text(c.Iid); })
      .def_property_readonly("EventsName",
                             [](const kiv::ClassInfo& c) { return Text(c.EventsName); })
      .def_property_readonly("EventsIid", [](const kiv::ClassInfo& c) { return Text(c.EventsIid); })
      .def_readonly("Creatable", &kiv::ClassInfo::Creatable)
      .def_property_readonly("ProgId", [](const kiv::ClassInfo& c) { return Text(c.ProgId); });
  m.def(
      "ClassTable",
      [] {
        std::vector<const kiv::ClassInfo*> out;
        for (const kiv::ClassInfo& c : kiv::ClassTable()) out.push_back(&c);
        return out;
      },
      py::return_value_policy::reference);
  m.def("FindClass", &kiv::FindClass, py::arg("name_clsid_or_progid"),
        py::return_value_policy::reference);
  m.def("CreateObject", &kiv::CreateObject, py::arg("clsid_or_progid"));
  m.def("TypeLibrary", [] {
    const kiv::TypeLibraryInfo& t = kiv::TypeLibrary();
    return std::make_tuple(kiv::String(t.Id), t.MajorVersion, t.MinorVersion, t.Lcid);
  });
  m.def("QvDbXtMethodOrder", [] {
    std::vector<kiv::String> out;
    for (const char16_t* name : kiv::QvDbXtMethodOrder()) out.emplace_back(name);
    return out;
  });
}

void BindFileNumbers(py::module_& m) {
  m.def("FreeFile", &kiv::FreeFile);
  m.def("FileOpen", &kiv::FileOpen, py::arg("FileNumber"), py::arg("FileName"), py::arg("Mode"),
        py::arg("Access") = int32_t{kiv::ACCESS_DEFAULT},
        py::arg("Share") = int32_t{kiv::SHARE_DEFAULT});
  m.def(
      "FileClose", [](int32_t FileNumber) { kiv::FileClose(FileNumber); }, py::arg("FileNumber"));
  m.def("EOF", &kiv::EOF_, py::arg("FileNumber"));
}

void BindCollection(py::module_& m) {
  using kiv::Collection;
  auto at = [](const Collection& c, py::ssize_t i) {
    const py::ssize_t n = c.Count();
    if (i < 0) i += n;
    if (i < 0 || i >= n) throw py::index_error("collection index out of range");
    return c.Item(kiv::Variant(static_cast<int32_t>(i + 1)));
  };
  py::class_<Collection, kiv::Object, std::shared_ptr<Collection>>(
      m, "Collection",
      "Ordered Variants with optional keys. Item, Add and Remove count from 1 as the library "
      "does; as a Python sequence it counts from 0.")
      .def(py::init<>())
      .def_property_readonly("Count", &Collection::Count)
      .def("Add", &Collection::Add, py::arg("Item"), py::arg("Key") = kiv::String())
      .def("AddBefore", &Collection::AddBefore, py::arg("Item"), py::arg("Before"),
           py::arg("Key") = kiv::String())
      .def("AddAfter", &Collection::AddAfter, py::arg("Item"), py::arg("After"),
           py::arg("Key") = kiv::String())
      .def("Item", &Collection::Item, py::arg("Index"))
      .def("Exists", &Collection::Exists, py::arg("Key"))
      .def("Remove", &Collection::Remove, py::arg("Index"))
      .def("Clear", &Collection::Clear)
      .def("__len__", &Collection::Count, "The number of items")
      .def("__getitem__", at, "The item at a position from 0 (negative: from the end)")
      .def(
          "__getitem__",
          [](const Collection& c, const kiv::String& key) {
            if (!c.Exists(key)) throw py::key_error("no item with that key");
            return c.Item(kiv::Variant(key));
          },
          "The item of a key")
      .def(
          "__iter__",
          [at](const Collection& c) {
            py::list items;
            for (py::ssize_t i = 0; i < c.Count(); ++i) items.append(py::cast(at(c, i)));
            return py::iter(items);
          },
          "The items in their order");
}

}  // namespace

void BindFrame(py::module_& m) {
  py::class_<kiv::Object, std::shared_ptr<kiv::Object>>(m, "Object", "Base of every public class");
  BindErrors(m);
  BindClassTable(m);
  BindFileNumbers(m);
  BindCollection(m);
}

}  // namespace kivpy
