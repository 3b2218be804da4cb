// The docstrings of the bound classes, members and functions: the first sentence of each one's
// comment in the public headers (docs.inc, written at build time by make_docs.py), so that help()
// reads like the header and cannot drift from it. pybind11 fixes a method's docstring when it binds
// it, so the text is added here, once, after every class is bound, rather than repeated in each
// .def.
#include <cstdlib>
#include <cstring>
#include <string>

#include "bind.h"

namespace kivpy {
namespace {

struct Doc {
  const char* cls;   // the class's name in Python
  const char* name;  // the member's, or "" for the class itself
  const char* text;
};

constexpr Doc kDocs[] = {
#include "docs.inc"
};

// The description goes under pybind11's signature line(s) and before what the binding added (the
// shape of a tuple result).
std::string WithDescription(std::string doc, const char* text) {
  while (!doc.empty() && doc.back() == '\n') doc.pop_back();
  const size_t end = doc.find("\n\n");
  if (end == std::string::npos) return doc + "\n\n" + text;
  return doc.substr(0, end) + "\n\n" + text + doc.substr(end);
}

void DescribeMethod(py::handle method, const char* text) {
  py::handle fn = py::detail::get_function(method);
  if (!fn || !PyCFunction_Check(fn.ptr())) return;
  // The method table is pybind11's own, allocated per function, and its docstring a malloc'd copy
  // that pybind11 frees with free(): it is replaced the same way.
  PyMethodDef* def = reinterpret_cast<PyCFunctionObject*>(fn.ptr())->m_ml;
  const std::string doc = WithDescription(def->ml_doc ? def->ml_doc : "", text);
  char* copy = strdup(doc.c_str());
  if (copy == nullptr) return;
  std::free(const_cast<char*>(def->ml_doc));
  def->ml_doc = copy;
}

// A function of the module, when the name is one.
void DescribeFunction(py::module_& m, const Doc& d) {
  py::object f = py::getattr(m, d.name, py::none());
  if (PyCFunction_Check(f.ptr())) DescribeMethod(f, d.text);
}

void Describe(py::handle cls, const Doc& d) {
  if (*d.name == '\0') {
    const std::string doc = py::str(cls.attr("__doc__")).cast<std::string>();
    if (cls.attr("__doc__").is_none() || doc.empty()) cls.attr("__doc__") = d.text;
    return;
  }
  py::dict members = cls.attr("__dict__").cast<py::dict>();
  if (!members.contains(d.name)) return;
  py::object member = members[d.name];
  if (py::isinstance(member, py::module_::import("builtins").attr("property"))) {
    const py::object old = member.attr("__doc__");
    const std::string doc = old.is_none() ? std::string() : old.cast<std::string>();
    member.attr("__doc__") = doc.empty() ? std::string(d.text) : std::string(d.text) + "\n\n" + doc;
  } else {
    DescribeMethod(member, d.text);
  }
}

}  // namespace

void BindDocs(py::module_& m) {
  for (const Doc& d : kDocs) {
    if (*d.cls == '\0') {
      DescribeFunction(m, d);
      continue;
    }
    for (py::module_ scope : {m, m.attr("dao").cast<py::module_>()}) {
      if (py::hasattr(scope, d.cls) && py::isinstance<py::type>(scope.attr(d.cls))) {
        Describe(scope.attr(d.cls), d);
      }
    }
  }
}

}  // namespace kivpy
