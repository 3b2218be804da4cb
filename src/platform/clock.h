// Time sources: the local date and time, and the millisecond tick counter. The date source can be
// replaced, so that tests move through midnight without sleeping.
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>

#include "frame/internal_api.h"
#include "kivdbxt/types.h"

namespace kiv {

KIV_INTERNAL_API Date Now();
// Replaces the date source; an empty function restores the system clock.
void SetClock(std::function<Date()> source);
// Milliseconds since an arbitrary start, wrapping at 2^32 like the system tick counter.
uint32_t TickCount();
// The local and the universal calendar time of a moment, and how far local time is ahead of
// universal time then, in minutes.
KIV_INTERNAL_API std::tm LocalTime(std::time_t secs);
KIV_INTERNAL_API std::tm UtcTime(std::time_t secs);
KIV_INTERNAL_API int32_t UtcOffsetMinutes(std::time_t secs);
void SleepMilliseconds(int ms);

}  // namespace kiv
