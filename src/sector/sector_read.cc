// Reads without a lock, through the mappings of the ".QVD", of the ".QVS" and (when another
// process has changed the store since the table was cached) of the ".QVF". Read() falls back to
// the shared lock when the result cannot be trusted.
#include <algorithm>
#include <atomic>

#include "sector/sector_store.h"

namespace kiv {

using namespace sector;

void SectorStore::MapTable() { table_view_ = FileMap::Map(fat_, fat_.Size()); }

bool SectorStore::CurrentChain(uint32_t generation, const DirEntry& entry,
                               std::vector<int32_t>& chain) {
  if (valid_ && table_known_ && generation == header_.generation) {
    return table_.Walk(entry.first, entry.length, sector_size_, chain);
  }
  return MappedChain(entry, chain);
}

// The table's header counts the entries in use; the mapping is renewed when the table has grown
// past it. A file cut short of its count has only the entries it holds.
bool SectorStore::MappedChain(const DirEntry& entry, std::vector<int32_t>& chain) {
  FatHeader h;
  auto decode = [&] {
    uint8_t buf[kFatHeaderSize];
    return table_view_.Copy(0, buf, sizeof buf) && OwnTableHeader(buf, h);
  };
  if (!decode() || FatOffset(h.sectors) > table_view_.Length()) {
    MapTable();
    if (!decode()) return false;
  }
  const int64_t mapped = (table_view_.Length() - kFatHeaderSize) / 4;
  const auto* next = reinterpret_cast<const int32_t*>(table_view_.Bytes() + kFatHeaderSize);
  // A walk through pages cut from the file saw zeros: not a chain to trust.
  return WalkChain({next, static_cast<size_t>(std::min<int64_t>(h.sectors, mapped))}, entry.first,
                   entry.length, sector_size_, chain) &&
         !table_view_.Cut();
}

// The header shows the same generation before and after the data is read, so the entry and its
// chain belong together and no change ran meanwhile; the CRCs catch the rest.
bool SectorStore::ReadUnlocked(int32_t rec_id,
                               const std::function<uint8_t*(const DirEntry&)>& buffer,
                               DirEntry& e) {
  DirHeader h;
  if (!MappedHeader(h) || h.sector_size != sector_size_) return false;
  if (rec_id < 1 || rec_id > h.slots || !MappedEntry(rec_id, e) || !e.InUse()) return false;
  if (e.IsText() && e.length % 2 != 0) return false;
  // With the table of this generation in the cache, a record of one sector is read while its
  // table entry comes into the cache (a miss in a large store), and its chain is checked
  // afterwards; otherwise the chain comes first.
  const bool cached = valid_ && table_known_ && h.generation == header_.generation;
  const bool one_sector = cached && e.length > 0 && e.length <= sector_size_;
  if (one_sector) {
    if (e.first < 0 || e.first >= table_.Sectors()) return false;
    table_.Prefetch(e.first);
  } else if (!CurrentChain(h.generation, e, read_chain_)) {
    return false;
  }
  uint8_t* out = buffer(e);
  uint32_t crc = 0;
  const std::span<const int32_t> sectors = one_sector ? std::span(&e.first, 1) : read_chain_;
  if (!CopySectors(sectors, out, e.length, crc) || crc != e.data_crc) return false;
  if (one_sector && table_.Next(e.first) != kEndOfChain) return false;
  std::atomic_thread_fence(std::memory_order_acquire);  // the header again, after the data
  const uint32_t generation = h.generation;
  return MappedHeader(h) && h.generation == generation;
}

}  // namespace kiv
