#include "frame/guard.h"

#include "frame/error.h"

namespace kiv {

void RecordFailure(const char16_t* source) {
  try {
    Set_Error(Variant::Missing(), Variant(source));
  } catch (...) {
    // An error inside the recorder is ignored.
  }
}

void RaiseRecorded() {
  ErrorRecord r = LastErrorRecord();
  throw Error{r.Number, r.Description, r.LastDllError};
}

ErrorKeeper::ErrorKeeper() : saved_(LastErrorRecord()), saved_run_(CurrentRunError()) {}

ErrorKeeper::~ErrorKeeper() {
  int32_t flags = SETERR_PASSTHROUGH;
  int32_t option = 0;
  try {
    Set_Error(saved_.Number, saved_.Source, saved_.Description, saved_.HelpFile, saved_.HelpContext,
              saved_.LastDllError, flags, Variant::Missing(), option);
  } catch (...) {
  }
  CurrentRunError() = std::move(saved_run_);
}

}  // namespace kiv
