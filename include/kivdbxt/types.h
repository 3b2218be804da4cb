// Core value types shared by every class of the library.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "kivdbxt/export.h"

namespace kiv {

// Automation strings are UTF-16. A "string of one character per byte" is a String whose
// characters are all in 0..255.
using String = std::u16string;
using StringView = std::u16string_view;

// OLE date: days since 1899-12-30, the fraction is the time of day.
using Date = double;

// Base of every public class. Objects are owned through std::shared_ptr, as automation objects
// are reference counted.
class KIV_API Object {
 public:
  virtual ~Object() = default;
};

// The platform's path separator; used wherever the library builds a path.
#if defined(_WIN32)
inline constexpr char16_t kPathSeparator = u'\\';
#else
inline constexpr char16_t kPathSeparator = u'/';
#endif

// UTF-8 <-> UTF-16 at the edges (command line, file names, SQLite text). The decoding is
// strict: each byte that starts no valid sequence (overlong forms and encoded surrogates
// included) becomes U+FFFD; unpaired surrogates become U+FFFD in UTF-8.
KIV_API std::string ToUtf8(StringView text);
KIV_API String FromUtf8(std::string_view text);

}  // namespace kiv
