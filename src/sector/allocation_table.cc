#include "sector/allocation_table.h"

#include <algorithm>
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

void AllocationTable::Load(std::vector<int32_t> next) {
  next_ = std::move(next);
  free_.clear();
  for (int32_t s = 0; s < Sectors(); ++s) {
    if (next_[s] == kFreeSector) free_.insert(free_.end(), s);
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
  for (int32_t s = Sectors(); s < size; ++s) {
    next_.push_back(kFreeSector);
    free_.insert(free_.end(), s);
    MarkDirty(s);
  }
  resized_ = true;
}

std::vector<int32_t> AllocationTable::Allocate(int32_t count) {
  if (FreeCount() < count) Grow(count - FreeCount());
  std::vector<int32_t> chain;
  chain.reserve(count);
  auto it = free_.begin();
  for (int32_t i = 0; i < count; ++i) chain.push_back(*it++);
  free_.erase(free_.begin(), it);
  for (int32_t i = 0; i < count; ++i) {
    next_[chain[i]] = i + 1 < count ? chain[i + 1] : kEndOfChain;
    MarkDirty(chain[i]);
  }
  return chain;
}

void AllocationTable::Free(const std::vector<int32_t>& sectors) {
  for (int32_t s : sectors) {
    next_[s] = kFreeSector;
    free_.insert(s);
    MarkDirty(s);
  }
}

void AllocationTable::Set(int32_t sector, int32_t next) {
  next_[sector] = next;
  MarkDirty(sector);
}

void AllocationTable::Shrink(int32_t count) {
  if (count >= Sectors()) return;
  free_.erase(free_.lower_bound(count), free_.end());
  next_.resize(count);
  std::erase_if(dirty_, [count](int32_t s) { return s >= count; });
  resized_ = true;
}

bool AllocationTable::Walk(int32_t first, int64_t length, int32_t sector_size,
                           std::vector<int32_t>& chain) const {
  chain.clear();
  if (length < 0) return false;
  const int64_t count = (length + sector_size - 1) / sector_size;
  if (count == 0) return first == kNoSectors;
  if (count > Sectors()) return false;
  chain.reserve(count);
  int32_t s = first;
  for (int64_t i = 0; i < count; ++i) {
    if (s < 0 || s >= Sectors() || next_[s] == kFreeSector) return false;
    chain.push_back(s);
    s = next_[s];
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
