// The error thrown inside the library. Public operations catch it in their guard (guard.h) and
// turn it into the recorded error; it never reaches a client.
#pragma once

#include <cstdint>
#include <utility>

#include "kivdbxt/types.h"

namespace kiv {

struct Error {
  Error(int32_t number_, String description_, int32_t last_dll_error_ = 0, String source_ = {})
      : number(number_),
        description(std::move(description_)),
        last_dll_error(last_dll_error_),
        source(std::move(source_)) {}

  int32_t number;
  String description;
  int32_t last_dll_error;
  String source;  // left empty by most raisers: the guard's Source wins anyway
};

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
