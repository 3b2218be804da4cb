#include "platform/locale.h"

#include <atomic>
#include <cstdlib>

namespace kiv {
namespace {

constexpr LocaleRule kRules[] = {
    {LocaleKind::Iso, u'.', u','},
    {LocaleKind::Italian, u',', u'.'},
    {LocaleKind::English, u'.', u','},
};

LocaleKind FromEnvironment() {
  for (const char* var : {"KIV_LOCALE", "LC_ALL", "LC_TIME", "LANG"}) {
    const char* value = std::getenv(var);
    if (value && *value) return LocaleFromName(value);
  }
  return LocaleKind::Iso;
}

std::atomic<int> chosen{-1};

}  // namespace

LocaleKind LocaleFromName(std::string_view name) {
  auto starts = [&](std::string_view p) { return name.substr(0, p.size()) == p; };
  if (starts("it")) return LocaleKind::Italian;
  if (starts("en-US") || starts("en_US")) return LocaleKind::English;
  return LocaleKind::Iso;
}

const LocaleRule& CurrentLocale() {
  int k = chosen.load(std::memory_order_relaxed);
  if (k < 0) {
    k = static_cast<int>(FromEnvironment());
    int expected = -1;
    if (!chosen.compare_exchange_strong(expected, k)) k = expected;
  }
  return kRules[k];
}

void SetLocale(LocaleKind kind) { chosen.store(static_cast<int>(kind)); }

}  // namespace kiv
