#include "platform/clock.h"

#include <ctime>

namespace kiv {

std::tm LocalTime(std::time_t secs) {
  std::tm local{};
  localtime_s(&local, &secs);
  return local;
}

std::tm UtcTime(std::time_t secs) {
  std::tm utc{};
  gmtime_s(&utc, &secs);
  return utc;
}

int32_t UtcOffsetMinutes(std::time_t secs) {
  std::tm local = LocalTime(secs);
  // The local fields read as if they were universal time, less the moment itself.
  return static_cast<int32_t>((_mkgmtime(&local) - secs) / 60);
}

}  // namespace kiv
