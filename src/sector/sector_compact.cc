// Compaction: sectors no record reaches are freed, the sectors of records that lie past the
// space the records need are copied into free sectors below it, and the files are cut.
//
// Every step keeps each record whole on disk. A run of a record's sectors is copied to free
// sectors and linked to the rest of the chain first; then one write switches the record over to
// the copy (the entry, for the first sector; the link of the sector before, for any other), and
// only then is the old run freed. Copy and original hold the same bytes, so the record reads the
// same whichever way a crash leaves it; what a crash leaves unreachable is freed next time.
#include <algorithm>

#include "sector/sector_store.h"

namespace kiv {

using namespace sector;

namespace {

// Sectors copied per step: bounded memory, whatever the size of a record.
constexpr int64_t kMoveBytes = 1 << 20;

}  // namespace

void SectorStore::FreeUnreachable(const std::vector<std::pair<int32_t, DirEntry>>& records) {
  std::vector<bool> reached(static_cast<size_t>(table_.Sectors()), false);
  std::vector<int32_t> chain;
  for (const auto& [rec_id, e] : records) {
    table_.Walk(e.first, e.length, sector_size_, chain);
    for (int32_t s : chain) reached[s] = true;
  }
  std::vector<int32_t> lost;
  for (int32_t s = 0; s < table_.Sectors(); ++s) {
    if (!reached[s] && table_.Next(s) != kFreeSector) lost.push_back(s);
  }
  table_.Free(lost);
  WriteTable();
}

void SectorStore::MoveDown(int32_t rec_id, DirEntry entry, int32_t target) {
  std::vector<int32_t> chain;
  table_.Walk(entry.first, entry.length, sector_size_, chain);
  const int32_t per_step = static_cast<int32_t>(std::max<int64_t>(1, kMoveBytes / sector_size_));
  std::vector<uint8_t> buf;
  const int32_t count = static_cast<int32_t>(chain.size());
  for (int32_t i = 0; i < count;) {
    if (chain[i] < target) {
      ++i;
      continue;
    }
    // Positions [i, j): sectors past the target, at most one step's worth.
    int32_t j = i + 1;
    while (j < count && j - i < per_step && chain[j] >= target) ++j;
    const std::span<const int32_t> old_run(chain.data() + i, j - i);
    const int64_t bytes =
        std::min<int64_t>(entry.length - int64_t{i} * sector_size_, int64_t{j - i} * sector_size_);
    buf.resize(static_cast<size_t>(bytes));
    if (ReadSectors(old_run, buf.data(), bytes, nullptr) != bytes) RaiseDamaged(rec_id);

    std::vector<int32_t> copy = table_.Allocate(j - i);
    table_.Set(copy.back(), j < count ? chain[j] : kEndOfChain);
    WriteSectors(copy, buf.data(), bytes, nullptr);
    WriteTable();
    if (sync_writes) {
      data_.Sync();
      fat_.Sync();
    }
    if (i == 0) {
      entry.first = copy.front();
      WriteEntry(rec_id, entry);
    } else {
      table_.Set(chain[i - 1], copy.front());
      WriteTable();
    }
    table_.Free({old_run.begin(), old_run.end()});
    WriteTable();
    std::copy(copy.begin(), copy.end(), chain.begin() + i);
    i = j;
  }
}

// The counts in the headers first, then the cuts: a crash between leaves files longer than
// counted.
void SectorStore::CutFiles(int32_t sectors) {
  table_.Shrink(sectors);
  WriteTable();
  data_view_ = FileMap{};  // its cut pages would only send the next read to the lock
  data_.Truncate(int64_t{sectors} * sector_size_);

  int32_t last = 0;
  for (int32_t k = header_.slots; k >= 1 && last == 0; --k) {
    if (!free_slots_.contains(k)) last = k;
  }
  ++header_.generation;
  header_.slots = last;
  WriteHeader();
  free_slots_.erase(free_slots_.upper_bound(last), free_slots_.end());
  CutMapped(FatOffset(sectors), EntryOffset(last + 1));
  if (sync_writes) {
    data_.Sync();
    fat_.Sync();
    dir_.Sync();
  }
}

// Other open stores read the table and the directory through their mappings: those two files
// are cut only while this store holds the only lease, and otherwise keep entries past their
// counts, as a crash may leave them.
void SectorStore::CutMapped(int64_t table_length, int64_t directory_length) {
  // Turning a flock shared again, or a failed attempt to make it exclusive, drops it first: the
  // shared lease is taken again whatever happens.
  const bool alone = data_.TryLock(ShareLock::Exclusive);
  try {
    if (alone) {
      view_ = FileMap{};  // no page of them may outlive the cuts
      table_view_ = FileMap{};
      fat_.Truncate(table_length);
      dir_.Truncate(directory_length);
      MapDirectory();
    }
  } catch (...) {
    data_.Lock(ShareLock::Shared);
    throw;
  }
  data_.Lock(ShareLock::Shared);
}

void SectorStore::Compact() {
  Change(true, [&] {
    // Every record must check: a damaged one would leave unknown which sectors are in use.
    std::vector<std::pair<int32_t, DirEntry>> records;
    std::vector<int32_t> chain;
    int32_t needed = 0;
    ForEachEntry([&](int32_t rec_id, bool valid, const DirEntry& e) {
      if (valid && !e.InUse()) return;
      if (!valid || !table_.Walk(e.first, e.length, sector_size_, chain)) RaiseDamaged(rec_id);
      needed += static_cast<int32_t>(chain.size());
      records.emplace_back(rec_id, e);
    });
    ++header_.generation;
    WriteHeader();
    FreeUnreachable(records);
    for (const auto& [rec_id, e] : records) MoveDown(rec_id, e, needed);
    CutFiles(needed);
  });
}

}  // namespace kiv
