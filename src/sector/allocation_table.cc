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
  const size_t w = static_cast<size_t>(sector) / 64;
  const uint64_t bit = uint64_t{1} << (sector % 64);
  if (free_bits_[w] & bit) return;
  free_bits_[w] |= bit;
  free_words_[w / 64] |= uint64_t{1} << (w % 64);
  ++free_count_;
  lowest_free_group_ = std::min(lowest_free_group_, w / 64);
}

void AllocationTable::RebuildFreeWords() {
  free_words_.assign((free_bits_.size() + 63) / 64, 0);
  lowest_free_group_ = free_words_.size();
  for (size_t w = 0; w < free_bits_.size(); ++w) {
    if (free_bits_[w] == 0) continue;
    free_words_[w / 64] |= uint64_t{1} << (w % 64);
    lowest_free_group_ = std::min(lowest_free_group_, w / 64);
  }
}

// One word of the bitmap at a time: a table of millions of entries is reloaded whenever another
// process has changed the store, and most words have no free sector.
void AllocationTable::Load(std::vector<int32_t> next) {
  next_ = std::move(next);
  const size_t n = next_.size();
  free_bits_.assign((n + 63) / 64, 0);
  free_count_ = 0;
  for (size_t w = 0; w < free_bits_.size(); ++w) {
    const size_t begin = 64 * w, end = std::min(n, begin + 64);
    int32_t free = 0;  // counted first, in a loop the compiler turns into vector compares
    for (size_t s = begin; s < end; ++s) free += next_[s] == kFreeSector;
    if (free == 0) continue;
    uint64_t bits = 0;
    for (size_t s = begin; s < end; ++s) bits |= uint64_t{next_[s] == kFreeSector} << (s - begin);
    free_bits_[w] = bits;
    free_count_ += free;
  }
  RebuildFreeWords();
  dirty_.clear();
  resized_ = false;
}

std::vector<int32_t> AllocationTable::TakeEntries() {
  std::vector<int32_t> entries = std::move(next_);
  Load({});
  return entries;
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
  free_words_.resize((free_bits_.size() + 63) / 64, 0);
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
  // The lowest word with a free sector, through the words' own bitmap: a full store of millions
  // of sectors has its few free ones far apart.
  while (static_cast<int32_t>(chain.size()) < count) {
    while (free_words_[lowest_free_group_] == 0) ++lowest_free_group_;
    const size_t w = 64 * lowest_free_group_ + std::countr_zero(free_words_[lowest_free_group_]);
    uint64_t& word = free_bits_[w];
    while (word != 0 && static_cast<int32_t>(chain.size()) < count) {
      chain.push_back(static_cast<int32_t>(w * 64 + std::countr_zero(word)));
      word &= word - 1;
    }
    if (word == 0) free_words_[w / 64] &= ~(uint64_t{1} << (w % 64));
  }
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
  RebuildFreeWords();
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
