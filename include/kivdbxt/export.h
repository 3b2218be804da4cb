// KIV_API marks what the shared library exports: the public classes and free functions.
// Everything else in the library stays internal to it.
#pragma once

#if defined(_WIN32)
#if defined(KIV_BUILDING_LIBRARY)
#define KIV_API __declspec(dllexport)
#else
#define KIV_API __declspec(dllimport)
#endif
#else
#define KIV_API __attribute__((visibility("default")))
#endif
