// The one guard every public operation runs in: the automation error handler of the library.
//
// It runs the body; on any exception it makes that exception the current run-time error, records
// it with Set_Error under the operation's fixed Source (Flags 0), runs the clean-up with the
// recorded error saved and restored (so the first error is the one reported), and returns the
// operation's error value. Nothing escapes. A failure that an inner procedure has recorded
// already (AlreadyRecorded) keeps that procedure's Source: the guard only cleans up.
#pragma once

#include <utility>

#include "frame/run_error.h"
#include "kivdbxt/error.h"

namespace kiv {

// Records the current run-time error under Source, as a handler does.
void RecordFailure(const char16_t* source);

// Raises again the error that an inner operation recorded (its Number and Description), so that
// the caller's own handler reports it under the caller's Source.
[[noreturn]] void RaiseRecorded();
// For inner operations that return True on failure: `Check(OpenLog(false));`.
inline void Check(bool failed) {
  if (failed) RaiseRecorded();
}

// Thrown for a failure that an inner procedure has already recorded under its own Source: the
// guards it passes through return their error value and record nothing again.
struct AlreadyRecorded {};
// For inner procedures whose failure stays under their Source: `PassOn(ParmRead(key, v));`.
inline void PassOn(bool failed) {
  if (failed) throw AlreadyRecorded{};
}

// Saves the recorded error (and the current run-time error) and restores them when it goes.
class ErrorKeeper {
 public:
  ErrorKeeper();
  ~ErrorKeeper();
  ErrorKeeper(const ErrorKeeper&) = delete;
  ErrorKeeper& operator=(const ErrorKeeper&) = delete;

 private:
  ErrorRecord saved_;
  RunError saved_run_;
};

// Runs a clean-up step whose own failures are ignored and leave the recorded error as it was.
template <class Cleanup>
void RunCleanup(Cleanup&& cleanup) {
  ErrorKeeper keep;
  try {
    cleanup();
  } catch (...) {
  }
}

struct NoCleanup {
  void operator()() const {}
};

template <class R, class Body, class Cleanup = NoCleanup>
R Guard(const char16_t* source, R error_value, Body&& body, Cleanup&& cleanup = Cleanup{}) {
  try {
    return body();
  } catch (const AlreadyRecorded&) {
    RunCleanup(cleanup);
    return error_value;
  } catch (...) {
    CaptureCurrentException();
  }
  RecordFailure(source);
  RunCleanup(cleanup);
  return error_value;
}

// For operations without a result (property setters).
template <class Body, class Cleanup = NoCleanup>
void GuardVoid(const char16_t* source, Body&& body, Cleanup&& cleanup = Cleanup{}) {
  Guard(
      source, 0,
      [&] {
        body();
        return 0;
      },
      cleanup);
}

}  // namespace kiv
