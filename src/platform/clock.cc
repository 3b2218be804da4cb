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

Date SystemNow() {
  auto now = std::chrono::system_clock::now();
  auto us = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
  std::time_t secs = static_cast<std::time_t>(us / 1000000);
  std::tm local{};
  localtime_r(&secs, &local);
  DateParts p{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
              local.tm_hour,        local.tm_min,     local.tm_sec};
  // Whole seconds, as the run time's Now gives.
  return MakeDate(p);
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
