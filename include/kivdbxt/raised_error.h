// The error raised by objects that report failures by throwing, as automation objects raise
// errors to their caller: the DAO-shaped database objects (kivdbxt/dao.h). The library's own
// public operations never let it escape; they record it (kivdbxt/error.h) instead.
#pragma once

#include <cstdint>
#include <utility>

#include "kivdbxt/export.h"
#include "kivdbxt/types.h"

namespace kiv {

// A failure raised to the caller: its number, text, system error code and Source.
struct KIV_API Error {
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

}  // namespace kiv
