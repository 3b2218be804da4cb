#include "frame/run_error.h"

#include <exception>
#include <new>

#include "frame/error.h"
#include "platform/rt_errors.h"
#include "platform/text_codec.h"

namespace kiv {
namespace {
thread_local RunError current;
}

RunError& CurrentRunError() { return current; }

void ClearRunError() { current = RunError{}; }

void CaptureCurrentException() {
  RunError err;
  err.source = kRunTimeSource;
  try {
    throw;
  } catch (const Error& e) {
    err.number = e.number;
    err.description = e.description.empty() ? RtErrorText(e.number) : e.description;
    err.last_dll_error = e.last_dll_error;
    if (!e.source.empty()) err.source = e.source;
  } catch (const std::bad_alloc&) {
    err.number = kErrOutOfMemory;
    err.description = RtErrorText(kErrOutOfMemory);
  } catch (const std::exception& e) {
    err.number = kErrInternal;
    err.description = RtErrorText(kErrInternal) + u": " + FromUtf8(e.what());
  } catch (...) {
    err.number = kErrInternal;
    err.description = RtErrorText(kErrInternal);
  }
  current = std::move(err);
}

}  // namespace kiv
