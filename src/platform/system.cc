// The companion operations that are the same on every system.
#include "platform/system.h"

#include <atomic>
#include <chrono>
#include <random>

#include "platform/vb_convert.h"

namespace kiv {
namespace {

uint32_t RandomStart() {
  std::random_device rd;
  uint64_t t = static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return static_cast<uint32_t>(rd() ^ t ^ (static_cast<uint64_t>(ProcessId()) << 16));
}

// A full-period linear congruential sequence modulo 2^31: every value in 1..2^31-1 comes once
// before any repeats, so the numbers drawn in one process are distinct.
std::atomic<uint32_t>& UniqueState() {
  static std::atomic<uint32_t> state{RandomStart() & 0x7FFFFFFF};
  return state;
}

}  // namespace

void SeedUniqueNumbers(uint32_t seed) { UniqueState().store(seed & 0x7FFFFFFF); }

int32_t UniqueNumber() {
  std::atomic<uint32_t>& state = UniqueState();
  uint32_t next;
  uint32_t cur = state.load(std::memory_order_relaxed);
  do {
    next = (cur * 1103515245u + 12345u) & 0x7FFFFFFF;
  } while (!state.compare_exchange_weak(cur, next, std::memory_order_relaxed));
  if (next == 0) return UniqueNumber();
  return static_cast<int32_t>(next);
}

String ZeroPad(int64_t number, int width) {
  String digits = IntText(number < 0 ? -number : number);
  while (static_cast<int>(digits.size()) < width - (number < 0 ? 1 : 0)) digits.insert(0, 1, u'0');
  return number < 0 ? u"-" + digits : digits;
}

}  // namespace kiv
