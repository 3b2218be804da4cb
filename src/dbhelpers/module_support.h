// Small helpers shared by the QvDbXtMod functions.
#pragma once

#include <memory>

#include "frame/error.h"
#include "frame/guard.h"
#include "kivdbxt/kiv_blob_type.h"
#include "platform/rt_errors.h"

namespace kiv {

// The copy-out of a cursor's whole record: the module reads cursors only through it, and never
// writes a record back.
struct BlobRecordAccess {
  static KivBlobType::Record Copy(const KivBlobType& bt) { return bt.record_; }
};

namespace QvDbXtMod {

// The object an argument holds; error 91 when it holds nothing.
template <class T>
T& Need(const std::shared_ptr<T>& object) {
  if (!object) Raise(kErrObjectNotSet);
  return *object;
}

// Runs a step whose failure is only an answer: nothing is recorded, the recorded error is left
// as it was, and the fallback is returned.
template <class R, class Body>
R Quietly(R fallback, Body&& body) {
  ErrorKeeper keep;
  try {
    return body();
  } catch (...) {
    return fallback;
  }
}

// The length of the cursor's buffered span.
inline constexpr size_t kBlobSpan = 4096;

}  // namespace QvDbXtMod
}  // namespace kiv
