// Err: the public face of the thread's current run-time error (frame/run_error.h).
#include "frame/run_error.h"
#include "kivdbxt/err.h"
#include "platform/rt_errors.h"

namespace kiv {

int32_t ErrObject::Number() const { return CurrentRunError().number; }
void ErrObject::Number(int32_t value) { CurrentRunError().number = value; }
String ErrObject::Source() const { return CurrentRunError().source; }
void ErrObject::Source(const String& value) { CurrentRunError().source = value; }
String ErrObject::Description() const { return CurrentRunError().description; }
void ErrObject::Description(const String& value) { CurrentRunError().description = value; }
String ErrObject::HelpFile() const { return CurrentRunError().help_file; }
void ErrObject::HelpFile(const String& value) { CurrentRunError().help_file = value; }
int32_t ErrObject::HelpContext() const { return CurrentRunError().help_context; }
void ErrObject::HelpContext(int32_t value) { CurrentRunError().help_context = value; }
int32_t ErrObject::LastDllError() const { return CurrentRunError().last_dll_error; }

void ErrObject::Raise(int32_t Number, const Variant& Source, const Variant& Description,
                      const Variant& HelpFile, const Variant& HelpContext) {
  RunError& err = CurrentRunError();
  err.number = Number;
  // An argument that does not convert counts as not given: Raise itself never fails.
  if (!Source.IsMissing()) err.source = Source.ToString().value_or(err.source);
  if (!Description.IsMissing()) err.description = Description.ToString().value_or(err.description);
  if (!HelpFile.IsMissing()) err.help_file = HelpFile.ToString().value_or(err.help_file);
  if (!HelpContext.IsMissing()) err.help_context = HelpContext.ToLong().value_or(err.help_context);
  if (err.description.empty()) err.description = RtErrorText(Number);
  if (err.source.empty()) err.source = kRunTimeSource;
}

void ErrObject::Clear() { ClearRunError(); }

ErrObject& Err() {
  static ErrObject err;
  return err;
}

}  // namespace kiv
