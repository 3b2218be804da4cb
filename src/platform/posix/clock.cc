#include "platform/clock.h"

#include <ctime>

namespace kiv {

std::tm LocalTime(std::time_t secs) {
  std::tm local{};
  localtime_r(&secs, &local);
  return local;
}

std::tm UtcTime(std::time_t secs) {
  std::tm utc{};
  gmtime_r(&secs, &utc);
  return utc;
}

int32_t UtcOffsetMinutes(std::time_t secs) {
  return static_cast<int32_t>(LocalTime(secs).tm_gmtoff / 60);
}

}  // namespace kiv
