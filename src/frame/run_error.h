// The current run-time error of this thread: what the automation run time's Err object holds
// between a failure and the handler that records it.
#pragma once

#include <cstdint>

#include "kivdbxt/types.h"

namespace kiv {

// The Source of a run-time error that nobody named: the component's own name.
inline constexpr const char16_t* kRunTimeSource = u"KivDbXtOle";

struct RunError {
  int32_t number = 0;
  String source;
  String description;
  String help_file;
  int32_t help_context = 0;
  int32_t last_dll_error = 0;
};

RunError& CurrentRunError();
void ClearRunError();
// Turns the exception being handled into the current run-time error. Call only inside catch.
void CaptureCurrentException();

// Runs a run-time statement for a client: a failure becomes the current run-time error (not the
// recorded one) and the statement returns error_value.
template <class R, class Body>
R RunStatement(R error_value, Body&& body) {
  try {
    return body();
  } catch (...) {
    CaptureCurrentException();
  }
  return error_value;
}

}  // namespace kiv
