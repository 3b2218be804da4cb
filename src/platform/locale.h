// The locale rule: how dates and numbers are written as text and parsed back. One rule for the
// process, chosen once from KIV_LOCALE, else LC_ALL / LC_TIME / LANG.
#pragma once

#include <string_view>

#include "frame/internal_api.h"

namespace kiv {

enum class LocaleKind {
  Iso,      // yyyy-mm-dd HH:MM:SS, decimal point
  Italian,  // dd/mm/yyyy HH:MM:SS, decimal comma
  English,  // m/d/yyyy h:mm:ss AM/PM, decimal point
};

struct LocaleRule {
  LocaleKind kind;
  char16_t decimal;
  char16_t thousands;
};

const LocaleRule& CurrentLocale();
// Replaces the process's rule (tests, and the tool's --locale).
KIV_INTERNAL_API void SetLocale(LocaleKind kind);
// "it", "it_IT.UTF-8", "en-US", "en_US" ... ; anything else is ISO.
KIV_INTERNAL_API LocaleKind LocaleFromName(std::string_view name);

}  // namespace kiv
