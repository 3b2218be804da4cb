// Set_Error and the per-thread store of the last recorded error.
#include "frame/run_error.h"
#include "kivdbxt/error.h"
#include "platform/system.h"

namespace kiv {
namespace {

thread_local ErrorRecord last_error;

// The companion recorder: stores the six fields as the last error. The extra value and the
// option are accepted for compatibility and not used.
void StoreError(ErrorRecord record, int32_t /*flags*/, const Variant& /*extra*/,
                int32_t& /*option*/) {
  last_error = std::move(record);
}

int32_t LongOr(const Variant& v, int32_t fallback) { return v.ToLong().value_or(fallback); }
String TextOr(const Variant& v, String fallback) { return v.ToString().value_or(fallback); }

}  // namespace

void Set_Error(const Variant& Number, const Variant& Source, const Variant& Description,
               const Variant& HelpFile, const Variant& HelpContext, const Variant& LastDllError,
               int32_t& Flags, const Variant& Extra, int32_t& Option) {
  ErrorRecord rec;
  auto given = [](const Variant& v) { return !v.IsMissing(); };
  if (Flags & SETERR_PASSTHROUGH) {
    rec.Number = LongOr(Number, 0);
    rec.Source = TextOr(Source, String());
    rec.Description = TextOr(Description, String());
    rec.HelpFile = TextOr(HelpFile, String());
    rec.HelpContext = TextOr(HelpContext, String());
    rec.LastDllError = LongOr(LastDllError, 0);
    StoreError(std::move(rec), Flags, Extra, Option);
    return;
  }
  if (!(Flags & SETERR_NOERR)) {
    const RunError& err = CurrentRunError();
    rec.Number = err.number == 65535 ? 0 : err.number;
    rec.Description = err.description;
    rec.HelpContext = FromUtf8(std::to_string(err.help_context));
    rec.HelpFile = err.help_file;
    rec.LastDllError = err.last_dll_error;
    rec.Source = err.source;
    ClearRunError();
  }
  if (given(Number)) rec.Number = LongOr(Number, rec.Number);
  if (given(Description)) rec.Description = TextOr(Description, rec.Description);
  if (given(HelpFile)) rec.HelpFile = TextOr(HelpFile, rec.HelpFile);
  if (given(HelpContext)) rec.HelpContext = TextOr(HelpContext, rec.HelpContext);
  if (given(LastDllError)) rec.LastDllError = LongOr(LastDllError, rec.LastDllError);
  if (given(Source)) rec.Source = TextOr(Source, rec.Source);
  if (Flags & SETERR_APPENDSYSMSG) {
    rec.Description += u"\r\n" + SystemMessage(rec.LastDllError);
  }
  StoreError(std::move(rec), Flags, Extra, Option);
}

void Set_Error(const Variant& Number, const Variant& Source, const Variant& Description,
               const Variant& HelpFile, const Variant& HelpContext, const Variant& LastDllError,
               int32_t Flags) {
  int32_t option = 0;
  Set_Error(Number, Source, Description, HelpFile, HelpContext, LastDllError, Flags,
            Variant::Missing(), option);
}

int32_t Last_Error() { return last_error.Number; }

ErrorRecord LastErrorRecord() { return last_error; }

void ClearLastError() { last_error = ErrorRecord{}; }

String SystemMessage(int32_t code) {
  return SystemErrorText(code);
}

}  // namespace kiv
