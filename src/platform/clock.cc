#include "platform/clock.h"

#include <atomic>
#include <chrono>
#include <ctime>
#include <mutex>
#include <thread>

#include "platform/date.h"

namespace kiv {
namespace {

std::mutex clock_mutex;
std::function<Date()> clock_source;
std::atomic<bool> clock_replaced{false};  // lets Now() skip the lock in normal use

// Whole seconds, as the run time's Now gives. The local-time conversion is kept for the rest of
// its second: writers call Now for every event, often many times a second.
Date SystemNow() {
  thread_local std::time_t last_secs = -1;
  thread_local Date last_date = 0;
  const std::time_t secs = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  if (secs == last_secs) return last_date;
  const std::tm local = LocalTime(secs);
  DateParts p{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
              local.tm_hour,        local.tm_min,     local.tm_sec};
  last_date = MakeDate(p);
  last_secs = secs;
  return last_date;
}

}  // namespace

Date Now() {
  if (!clock_replaced.load(std::memory_order_acquire)) return SystemNow();
  std::function<Date()> source;
  {
    std::lock_guard<std::mutex> lock(clock_mutex);
    source = clock_source;
  }
  return source ? source() : SystemNow();
}

void SetClock(std::function<Date()> source) {
  std::lock_guard<std::mutex> lock(clock_mutex);
  clock_source = std::move(source);
  clock_replaced.store(static_cast<bool>(clock_source), std::memory_order_release);
}

uint32_t TickCount() {
  auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void SleepMilliseconds(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

}  // namespace kiv
