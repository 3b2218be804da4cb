// Raising errors inside the library. Public operations catch them in their guard (guard.h) and
// turn them into the recorded error. The type itself is public (kivdbxt/raised_error.h) because
// the DAO objects raise it to their callers, as automation objects do.
#pragma once

#include <cstdint>
#include <utility>

#include "kivdbxt/raised_error.h"
#include "kivdbxt/types.h"

namespace kiv {

// The library's own errors carry this number.
inline constexpr int32_t kLibraryError = 20000;

// Raises a run-time error with its standard text.
[[noreturn]] void Raise(int32_t number);
// Raises an error with the given text.
[[noreturn]] void Raise(int32_t number, String description);
// Raises the library's error 20000 with the given text.
[[noreturn]] void RaiseLibrary(String description);
// Raises the run-time error that matches a system errno (file not found, permission, ...).
[[noreturn]] void RaiseErrno(int err, bool path_is_folder = false);

}  // namespace kiv
