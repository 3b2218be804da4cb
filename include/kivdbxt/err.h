// Err: the current run-time error of the calling thread, as automation clients know it.
//
// It holds the failure of a run-time statement (FileOpen, EOF_ ...) or what a client raised,
// until Clear, or until Set_Error takes it into the library's recorded error (reading it clears
// it, unless Set_Error is told not to read it with SETERR_NOERR). Each thread has its own; the
// object itself holds nothing, so kiv::Err() may be kept and used from any thread.
#pragma once

#include <cstdint>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"

namespace kiv {

class KIV_API ErrObject {
 public:
  // The error's number (0: no error).
  int32_t Number() const;
  void Number(int32_t value);
  // Where the error arose.
  String Source() const;
  void Source(const String& value);
  // The error's text.
  String Description() const;
  void Description(const String& value);
  // The help file that documents the error.
  String HelpFile() const;
  void HelpFile(const String& value);
  // The topic of the help file that documents the error.
  int32_t HelpContext() const;
  void HelpContext(int32_t value);
  // The system's error code (errno) of the last failed system call of a run-time statement.
  int32_t LastDllError() const;

  // Sets the error as the run time's Err.Raise does, without throwing: Number, and each other
  // argument given; one not given keeps the value already held, and when that is empty
  // Description becomes the run time's text for Number and Source "KivDbXtOle".
  void Raise(int32_t Number, const Variant& Source = Variant::Missing(),
             const Variant& Description = Variant::Missing(),
             const Variant& HelpFile = Variant::Missing(),
             const Variant& HelpContext = Variant::Missing());
  // Forgets the error: Number 0, every text empty.
  void Clear();
};

// The calling thread's run-time error.
KIV_API ErrObject& Err();

}  // namespace kiv
