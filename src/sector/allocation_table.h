// The allocation table kept in memory: the next sector of every sector, the free sectors, and
// the entries changed since they were last written to the ".QVF".
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace kiv::sector {

// A run of consecutive table entries [begin, begin + count).
struct Run {
  int32_t begin;
  int32_t count;
};

// Splits sectors (in any order) into runs of consecutive numbers, in the order given.
std::vector<Run> ConsecutiveRuns(const std::vector<int32_t>& sectors);

// The chain of a record of length bytes starting at first, in sectors of sector_size, through
// the table entries next. False when it does not check: a sector past the end or not in use, a
// loop, or a chain longer or shorter than the length needs.
bool WalkChain(std::span<const int32_t> next, int32_t first, int64_t length, int32_t sector_size,
               std::vector<int32_t>& chain);

class AllocationTable {
 public:
  // Takes the table as read from the file; every entry that is not a chain link is kept as it
  // is, and the free ones become available.
  void Load(std::vector<int32_t> next);

  int32_t Sectors() const { return static_cast<int32_t>(next_.size()); }
  int32_t Next(int32_t sector) const { return next_[sector]; }
  // Starts loading a sector's entry into the cache, for a look after a slow call.
  void Prefetch(int32_t sector) const { __builtin_prefetch(next_.data() + sector); }
  const std::vector<int32_t>& Entries() const { return next_; }
  // Empties the table and hands over its entries' memory, for the next Load.
  std::vector<int32_t> TakeEntries();
  int32_t FreeCount() const { return free_count_; }

  // Takes count free sectors, lowest first, growing the table when too few are free, and links
  // them into one chain. Returns the chain in order.
  std::vector<int32_t> Allocate(int32_t count);
  // Marks sectors free.
  void Free(const std::vector<int32_t>& sectors);
  // Sets one entry (a chain link moved by compaction).
  void Set(int32_t sector, int32_t next);
  // Drops every sector from count on (they must be free).
  void Shrink(int32_t count);

  // WalkChain through this table.
  bool Walk(int32_t first, int64_t length, int32_t sector_size, std::vector<int32_t>& chain) const {
    return WalkChain(next_, first, length, sector_size, chain);
  }

  // The entries changed since the last call, as runs of consecutive entries; and whether the
  // table grew or shrank (the file's header then changes too).
  std::vector<Run> TakeDirty();
  bool TakeResized();

 private:
  void Grow(int32_t at_least);
  void MarkDirty(int32_t sector) { dirty_.push_back(sector); }
  void MarkFree(int32_t sector);
  void RebuildFreeWords();

  std::vector<int32_t> next_;
  // The free sectors as bits, one per sector, and the words of those bits that have a free
  // sector, one bit per word: compact enough to stay in the cache, and the lowest free sector
  // of millions is found by scanning a few words.
  std::vector<uint64_t> free_bits_;
  std::vector<uint64_t> free_words_;
  int32_t free_count_ = 0;
  size_t lowest_free_group_ = 0;  // no word of free_words_ below it is other than zero
  std::vector<int32_t> dirty_;
  bool resized_ = false;
};

}  // namespace kiv::sector
