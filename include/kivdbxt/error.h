// The library-wide error state: the last error recorded on this thread.
#pragma once

#include <cstdint>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"

namespace kiv {

// The six fields of a recorded error, in their order.
struct KIV_API ErrorRecord {
  int32_t Number = 0;        // the error's number (0: none recorded)
  String Source;             // where it arose, as "Class.Operation"
  String Description;        // its text
  String HelpFile;           // the help file that documents it
  String HelpContext;        // the topic of that help file, as decimal text
  int32_t LastDllError = 0;  // the system's error code behind it (errno), or 0
};

// Flags of Set_Error.
enum SetErrorFlags : int32_t {
  SETERR_APPENDSYSMSG = 2,  // append the system's message text for LastDllError
  SETERR_PASSTHROUGH = 4,   // hand the arguments to the recorder unchanged, nothing else
  SETERR_NOERR = 8,         // do not read the current run-time error
};

// The library's single error recorder: takes the current run-time error (Err) unless Flags has
// SETERR_NOERR, lets each argument given replace its field, and records the result. Every
// argument but Flags and Option may be Missing.
KIV_API void Set_Error(const Variant& Number, const Variant& Source, const Variant& Description,
                       const Variant& HelpFile, const Variant& HelpContext,
                       const Variant& LastDllError, int32_t& Flags, const Variant& Extra,
                       int32_t& Option);
// Short form: no extra value, option 0.
KIV_API void Set_Error(const Variant& Number = Variant::Missing(),
                       const Variant& Source = Variant::Missing(),
                       const Variant& Description = Variant::Missing(),
                       const Variant& HelpFile = Variant::Missing(),
                       const Variant& HelpContext = Variant::Missing(),
                       const Variant& LastDllError = Variant::Missing(), int32_t Flags = 0);

// The Number recorded last on this thread (0 = none).
KIV_API int32_t Last_Error();
// All six fields recorded last on this thread.
KIV_API ErrorRecord LastErrorRecord();
// Forgets the recorded error of this thread (Number 0, every text empty).
KIV_API void ClearLastError();

// The system's message text for a system error code (errno on POSIX, GetLastError on Windows).
KIV_API String SystemMessage(int32_t code);

}  // namespace kiv
