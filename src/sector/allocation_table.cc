#include "sector/allocation_table.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "frame/error.h"
#include "platform/rt_errors.h"
#include "sector/sector_format.h"

namespace kiv::sector {

std::vector<Run> ConsecutiveRuns(const std::vector<int32_t>& sectors) {
  std::vector<Run> runs;
  for (int32_t s : sectors) {
    if (!runs.empty() && runs.back().begin + runs.back().count == s) {
      ++runs.back().count;
    } else {
      runs.push_back({s, 1});
    }
  }
  return runs;
}

void AllocationTable::MarkFree(int32_t sector) {
  uint64_t& word = free_bits_[static_cast<size_t>(sector) / 64];
  const uint64_t bit = uint64_t{1} << (sector % 64);
  if (word & bit) return;
  word |= bit;
  ++free_count_;
  lowest_free_word_ = std::min(lowest_free_word_, static_cast<size_t>(sector) / 64);
}

void AllocationTable::Load(std::vector<int32_t> next) {
  next_ = std::move(next);
  free_bits_.assign((next_.size() + 63) / 64, 0);
  free_count_ = 0;
  lowest_free_word_ = free_bits_.size();
  for (int32_t s = 0; s < Sectors(); ++s) {
    if (next_[s] == kFreeSector) MarkFree(s);
  }
  dirty_.clear();
  resized_ = false;
}

// Grows by at least what is missing, and by an eighth of the table (16 sectors at least), so
// that the file's header is rewritten only now and then while a store fills.
void AllocationTable::Grow(int32_t at_least) {
  const int64_t step = std::max<int64_t>({at_least, Sectors() / 8, 16});
  const int64_t size =
      std::min<int64_t>(int64_t{Sectors()} + step, std::numeric_limits<int32_t>::max());
  if (size - Sectors() < at_least) Raise(kErrDiskFull);  // past 2^31 sectors
  const int32_t from = Sectors();
  next_.resize(static_cast<size_t>(size), kFreeSector);
  free_bits_.resize((next_.size() + 63) / 64, 0);
  for (int32_t s = from; s < size; ++s) {
    MarkFree(s);
    MarkDirty(s);
  }
  resized_ = true;
}

std::vector<int32_t> AllocationTable::Allocate(int32_t count) {
  if (FreeCount() < count) Grow(count - FreeCount());
  std::vector<int32_t> chain;
  chain.reserve(count);
  size_t w = lowest_free_word_;
  for (; static_cast<int32_t>(chain.size()) < count; ++w) {
    uint64_t& word = free_bits_[w];
    while (word != 0 && static_cast<int32_t>(chain.size()) < count) {
      chain.push_back(static_cast<int32_t>(w * 64 + std::countr_zero(word)));
      word &= word - 1;
    }
    if (word != 0) break;
  }
  lowest_free_word_ = w;
  free_count_ -= count;
  for (int32_t i = 0; i < count; ++i) {
    next_[chain[i]] = i + 1 < count ? chain[i + 1] : kEndOfChain;
    MarkDirty(chain[i]);
  }
  return chain;
}

void AllocationTable::Free(const std::vector<int32_t>& sectors) {
  for (int32_t s : sectors) {
    next_[s] = kFreeSector;
    MarkFree(s);
    MarkDirty(s);
  }
}

void AllocationTable::Set(int32_t sector, int32_t next) {
  next_[sector] = next;
  MarkDirty(sector);
}

void AllocationTable::Shrink(int32_t count) {
  if (count >= Sectors()) return;
  for (int32_t s = count; s < Sectors(); ++s) {
    if (next_[s] == kFreeSector) --free_count_;
  }
  next_.resize(count);
  free_bits_.resize((next_.size() + 63) / 64);
  if (count % 64 != 0) free_bits_.back() &= (uint64_t{1} << (count % 64)) - 1;
  lowest_free_word_ = std::min(lowest_free_word_, free_bits_.size());
  std::erase_if(dirty_, [count](int32_t s) { return s >= count; });
  resized_ = true;
}

bool WalkChain(std::span<const int32_t> next, int32_t first, int64_t length, int32_t sector_size,
               std::vector<int32_t>& chain) {
  chain.clear();
  if (length < 0) return false;
  const int64_t sectors = static_cast<int64_t>(next.size());
  const int64_t count = (length + sector_size - 1) / sector_size;
  if (count == 0) return first == kNoSectors;
  if (count > sectors) return false;
  chain.reserve(count);
  int32_t s = first;
  for (int64_t i = 0; i < count; ++i) {
    if (s < 0 || s >= sectors || next[s] == kFreeSector) return false;
    chain.push_back(s);
    s = next[s];
  }
  // A chain that loops never reaches its end, so this also rejects every loop.
  return s == kEndOfChain;
}

std::vector<Run> AllocationTable::TakeDirty() {
  std::sort(dirty_.begin(), dirty_.end());
  dirty_.erase(std::unique(dirty_.begin(), dirty_.end()), dirty_.end());
  std::vector<Run> runs = ConsecutiveRuns(dirty_);
  dirty_.clear();
  return runs;
}

bool AllocationTable::TakeResized() { return std::exchange(resized_, false); }

}  // namespace kiv::sector
