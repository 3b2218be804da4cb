// KIV_INTERNAL_API exports an internal function from the shared library for the project's own
// kivlog, which links the shared library like any other program and must share the library's
// state (the locale rule, the file numbers, the clock). No installed header declares these
// functions: they are not part of the public API and may change in any release.
#pragma once

#include "kivdbxt/export.h"

#define KIV_INTERNAL_API KIV_API
