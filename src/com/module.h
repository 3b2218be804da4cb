// This module (kivdbxt.dll) as a component server: its path and its objects' classes.
#pragma once

#include <string>
#include <vector>

#include "com/system.h"

namespace kiv::com {

// The full path of kivdbxt.dll, for the registry and for loading its type library.
std::wstring ModulePath();

// A class this server makes: its identity and a maker of a new object (one reference).
struct ServedClass {
  std::wstring name;     // "KivLog"
  std::wstring prog_id;  // "KivDbXtOle.KivLog"
  CLSID clsid;
  IID iid;  // the default interface
  IDispatch* (*make)();
};

// Every class the server registers and makes, in type library order.
const std::vector<ServedClass>& ServedClasses();

}  // namespace kiv::com
