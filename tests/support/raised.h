// The error a call raises, for tests of code that raises (the library's internals, DAO objects).
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "kivdbxt/raised_error.h"

namespace kivtest {

// The error the call raises; nullopt when it raises nothing.
template <class F>
std::optional<kiv::Error> RaisedBy(F&& f) {
  try {
    f();
  } catch (const kiv::Error& e) {
    return e;
  }
  return std::nullopt;
}

// The number of the error the call raises; 0 when it raises nothing.
template <class F>
int32_t NumberRaisedBy(F&& f) {
  auto e = RaisedBy(f);
  return e ? e->number : 0;
}

// The number and text of the error a call raises.
using Raised = std::pair<int32_t, kiv::String>;

// What the call raises; {0, ""} when it raises nothing.
template <class F>
Raised ErrorRaisedBy(F&& f) {
  auto e = RaisedBy(f);
  return e ? Raised{e->number, e->description} : Raised{0, {}};
}

}  // namespace kivtest
