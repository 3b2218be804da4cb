#include "sector/sector_store.h"

#include <algorithm>
#include <atomic>
#include <bit>

#include "frame/error.h"
#include "platform/clock.h"
#include "platform/fs.h"
#include "platform/rt_errors.h"

namespace kiv {

using namespace sector;

static_assert(std::endian::native == std::endian::little,
              "the allocation table and UTF-16 text go to disk straight from memory");

namespace {

// Bytes moved by one read or write call: large records go in pieces, their CRC computed while
// each piece is still in the cache.
constexpr int64_t kIoPiece = 1 << 20;
// Directory entries read by one call of a pass over the directory.
constexpr int32_t kEntriesPerRead = 32768;
// How far the view of the ".QVS" reaches past the file's end, at least: a store that grows is
// mapped again only when it has grown by as much as it held (or by this much, when small).
constexpr int64_t kDataSlack = int64_t{64} << 20;

// The end of the run of consecutive sectors that starts at position i.
size_t RunEnd(std::span<const int32_t> sectors, size_t i) {
  size_t j = i + 1;
  while (j < sectors.size() && sectors[j] == sectors[j - 1] + 1) ++j;
  return j;
}

// The store's files are regular files: a symlink in place of one is not followed and a FIFO is
// not waited on; either is error 75.
OpenOptions Options(bool read_only) {
  OpenOptions o;
  o.access = read_only ? Access::Read : Access::ReadWrite;
  o.regular_only = true;
  return o;
}

}  // namespace

// The lock of one operation on the ".QVD": shared for reads, exclusive for changes. The ".QVF"
// serves as a turnstile, held while waiting for the ".QVD", so that the processes take turns: a
// waiting writer stops new readers, and a waiting reader (an open among them) stops a writer
// that would otherwise lock again the moment it has unlocked, for as long as it keeps writing.
// A change that finds the ".QVD" free skips the turnstile (two system calls), all but every
// kTurnEvery-th: a writer that never pauses then holds up a waiting reader for a few changes.
class SectorStore::OperationLock {
 public:
  static constexpr uint32_t kTurnEvery = 8;

  OperationLock(SectorStore& store, bool exclusive) : dir_(store.dir_) {
    const ShareLock mode = exclusive ? ShareLock::Exclusive : ShareLock::Shared;
    if (exclusive && ++store.changes_ % kTurnEvery != 0 && dir_.TryLock(mode)) return;
    File& turnstile = store.fat_;
    turnstile.Lock(mode);
    try {
      dir_.Lock(mode);
    } catch (...) {
      turnstile.Unlock();
      throw;
    }
    turnstile.Unlock();
  }
  ~OperationLock() { dir_.Unlock(); }
  OperationLock(const OperationLock&) = delete;
  OperationLock& operator=(const OperationLock&) = delete;

 private:
  File& dir_;
};

void SectorStore::Create(const String& base, int32_t sector_size) {
  if (!ValidSectorSize(sector_size)) Raise(kErrInvalidCall);
  for (const String& file : {DirectoryFile(base), TableFile(base), SectorsFile(base)}) {
    if (FileExists(file)) RaiseLibrary(StoreExistsMessage(file));
  }
  OpenOptions o = Options(false);
  o.create = true;
  o.truncate = true;
  o.lock = ShareLock::Exclusive;
  File::Open(SectorsFile(base), o);
  uint8_t fat[kFatHeaderSize];
  EncodeFatHeader({sector_size, 0}, fat);
  File::Open(TableFile(base), o).WriteAt(0, fat, sizeof fat);
  // The directory last: a store whose directory exists is complete.
  uint8_t dir[kDirHeaderSize];
  EncodeDirHeader({sector_size, 0, 0, 0}, dir);
  File::Open(DirectoryFile(base), o).WriteAt(0, dir, sizeof dir);
}

SectorStore::SectorStore(const String& base, bool read_only) : base_(base), read_only_(read_only) {
  dir_ = File::Open(DirectoryFile(base), Options(read_only));
  fat_ = File::Open(TableFile(base), Options(read_only));
  data_ = File::Open(SectorsFile(base), Options(read_only));
  data_.Lock(ShareLock::Shared);  // the lease on the mapping, until the files close
  OperationLock lock(*this, false);
  MapDirectory();
  if (!MappedHeader(header_) || !ValidSectorSize(header_.sector_size)) {
    RaiseLibrary(NotAStoreMessage(DirectoryFile(base)));
  }
  sector_size_ = header_.sector_size;
  Refresh(true, true);
}

// --- Cached state -----------------------------------------------------------------------------

// Only a change that takes a free slot needs the slots; the others leave the header's count of
// records as they find it after another process's change, rather than read the whole directory.
void SectorStore::Change(bool slots, const std::function<void()>& body) {
  RequireWritable();
  OperationLock lock(*this, true);
  try {
    Refresh(true, slots);
    RequireWholeTable();
    // The count as the entries hold it, after a crash too, when they have been counted.
    if (slots_known_) header_.records = records_;
    body();
  } catch (...) {
    valid_ = false;  // memory may be ahead of the files: reload next time
    throw;
  }
}

void SectorStore::Refresh(bool table, bool slots) {
  DirHeader h;
  if (!CurrentHeader(h) || h.sector_size != sector_size_) {
    valid_ = false;
    RaiseLibrary(NotAStoreMessage(DirectoryFile(base_)));
  }
  if (!valid_ || h.generation != header_.generation) {
    header_ = h;
    table_known_ = false;
    slots_known_ = false;
    valid_ = true;
  }
  if (table && !table_known_) {
    LoadTable();
    table_known_ = true;
  }
  if (slots && !slots_known_) ScanDirectory();
}

// The old view stays when mapping fails. A writable store stores its header and new entries
// through the view when the processor can store them whole: no system call, and other processes
// see them at once, as they would a pwrite.
void SectorStore::MapDirectory() { view_ = FileMap::Map(dir_, dir_.Size(), !read_only_); }

// A header that does not check may be one that another program cut or rewrote in place (and
// perhaps wrote back since): the file is mapped again as it is now, and nothing cached is
// trusted.
bool SectorStore::CurrentHeader(DirHeader& header) {
  if (MappedHeader(header)) return true;
  valid_ = false;
  MapDirectory();
  return MappedHeader(header);
}

bool SectorStore::MappedHeader(DirHeader& header) const {
  uint8_t buf[kDirHeaderSize];
  return view_.Copy(0, buf, sizeof buf) && DecodeDirHeader(buf, header);
}

bool SectorStore::MappedEntry(int32_t rec_id, DirEntry& entry) const {
  uint8_t buf[kEntrySize];
  return view_.Copy(EntryOffset(rec_id), buf, sizeof buf) && DecodeEntry(buf, entry);
}

// The table holds the header's count of entries, or what the file holds when it is shorter (a
// cut file: chains into the missing part do not check, and no change is made).
bool SectorStore::OwnTableHeader(const uint8_t* bytes, FatHeader& header) const {
  return DecodeFatHeader(bytes, header) && header.sector_size == sector_size_ &&
         header.sectors >= 0;
}

void SectorStore::LoadTable() {
  uint8_t buf[kFatHeaderSize];
  FatHeader h;
  if (fat_.ReadAt(0, buf, sizeof buf) != sizeof buf || !OwnTableHeader(buf, h)) {
    RaiseLibrary(NotAStoreMessage(TableFile(base_)));
  }
  const int64_t in_file = std::max<int64_t>(0, (fat_.Size() - kFatHeaderSize) / 4);
  // Read into the old table's memory: no fresh pages to clear and fault in on every reload.
  std::vector<int32_t> next = table_.TakeEntries();
  next.resize(static_cast<size_t>(std::min<int64_t>(h.sectors, in_file)));
  table_cut_ = in_file < h.sectors;
  const int64_t bytes = 4 * static_cast<int64_t>(next.size());
  if (fat_.ReadAt(kFatHeaderSize, next.data(), bytes) != static_cast<size_t>(bytes)) {
    RaiseLibrary(NotAStoreMessage(TableFile(base_)));
  }
  table_.Load(std::move(next));
}

void SectorStore::ForEachEntry(const EntryVisitor& visit) const {
  std::vector<uint8_t> buf;
  for (int32_t first = 1; first <= header_.slots; first += kEntriesPerRead) {
    const int32_t count = std::min(kEntriesPerRead, header_.slots - first + 1);
    buf.resize(static_cast<size_t>(count) * kEntrySize);
    const size_t got = dir_.ReadAt(EntryOffset(first), buf.data(), buf.size());
    for (int32_t i = 0; i < count; ++i) {
      DirEntry e;
      const bool valid = static_cast<size_t>(i + 1) * kEntrySize <= got &&
                         DecodeEntry(buf.data() + i * kEntrySize, e);
      visit(first + i, valid, e);
    }
  }
}

void SectorStore::ScanDirectory() {
  free_slots_.clear();
  records_ = 0;
  ForEachEntry([this](int32_t rec_id, bool valid, const DirEntry& e) {
    if (!valid) return;  // damaged: neither free nor counted
    if (e.InUse()) {
      ++records_;
    } else {
      free_slots_.insert(free_slots_.end(), rec_id);
    }
  });
  slots_known_ = true;
}

// --- Entries and headers ----------------------------------------------------------------------

bool SectorStore::ReadEntry(int32_t rec_id, DirEntry& entry) {
  if (rec_id < 1 || rec_id > header_.slots) RaiseMissing(rec_id);
  if (EntryOffset(rec_id) + kEntrySize > view_.Length()) MapDirectory();  // the file grew
  if (!MappedEntry(rec_id, entry)) return false;
  if (!entry.InUse()) RaiseMissing(rec_id);
  return true;
}

DirEntry SectorStore::CheckedEntry(int32_t rec_id, std::vector<int32_t>& chain) {
  DirEntry e;
  if (!ReadEntry(rec_id, e) || !CurrentChain(header_.generation, e, chain) ||
      (e.IsText() && e.length % 2 != 0)) {
    RaiseDamaged(rec_id);
  }
  return e;
}

// The lowest free slot; without one, the directory grows by a batch of free entries, written
// before the header counts them so that a crash never leaves a counted slot without its entry.
int32_t SectorStore::TakeFreeSlot() {
  if (free_slots_.empty()) {
    const int32_t from = header_.slots;
    const int32_t grow = std::max(16, from / 8);
    std::vector<uint8_t> buf(static_cast<size_t>(grow) * kEntrySize);
    EncodeEntry(DirEntry{}, buf.data());  // every free entry has the same bytes
    for (int32_t i = 1; i < grow; ++i) {
      std::copy_n(buf.data(), kEntrySize, buf.data() + i * kEntrySize);
    }
    dir_.WriteAt(EntryOffset(from + 1), buf.data(), buf.size());
    for (int32_t k = from + 1; k <= from + grow; ++k) free_slots_.insert(free_slots_.end(), k);
    header_.slots = from + grow;
  }
  return free_slots_.extract(free_slots_.begin()).value();
}

// Unlocked readers must see the new generation before any entry, chain or sector that follows.
void SectorStore::WriteHeader() {
  uint8_t buf[kDirHeaderSize];
  EncodeDirHeader(header_, buf);
  if (!view_.StoreWhole(0, buf, sizeof buf)) dir_.WriteAt(0, buf, sizeof buf);
  std::atomic_thread_fence(std::memory_order_release);
}

// The first store to a page of the view costs a page fault (the kernel makes the page writable
// then), dearer than a pwrite: only new records, whose entries follow one another on the
// directory's last pages, go through the view.
void SectorStore::WriteEntry(int32_t rec_id, const DirEntry& entry, bool through_view) {
  uint8_t buf[kEntrySize];
  EncodeEntry(entry, buf);
  const int64_t at = EntryOffset(rec_id);
  if (through_view && at + kEntrySize > view_.Length()) MapDirectory();  // the directory grew
  if (!through_view || !view_.StoreWhole(at, buf, sizeof buf)) dir_.WriteAt(at, buf, sizeof buf);
}

void SectorStore::WriteTable() {
  const std::vector<int32_t>& next = table_.Entries();
  for (const Run& run : table_.TakeDirty()) {
    fat_.WriteAt(FatOffset(run.begin), next.data() + run.begin, 4 * size_t(run.count));
  }
  if (table_.TakeResized()) {
    uint8_t buf[kFatHeaderSize];
    EncodeFatHeader({sector_size_, table_.Sectors()}, buf);
    fat_.WriteAt(0, buf, sizeof buf);
  }
}

void SectorStore::RequireWritable() const {
  if (read_only_) Raise(kErrBadFileMode);
}

// Neither a crash nor compaction leaves the ".QVF" shorter than its header's count: a table cut
// by another program, before it was loaded or under this store since, takes no change, which
// would link chains through entries that are not there.
void SectorStore::RequireWholeTable() {
  if (table_cut_ || fat_.EndOffset() < FatOffset(table_.Sectors())) {
    valid_ = false;
    RaiseLibrary(NotAStoreMessage(TableFile(base_)));
  }
}

void SectorStore::RaiseDamaged(int32_t rec_id) const { RaiseLibrary(DamagedRecordMessage(rec_id)); }
void SectorStore::RaiseMissing(int32_t rec_id) const { RaiseLibrary(MissingRecordMessage(rec_id)); }

// --- Sector data ------------------------------------------------------------------------------

void SectorStore::WriteSectors(std::span<const int32_t> sectors, const uint8_t* data, int64_t bytes,
                               uint32_t* crc) {
  int64_t done = 0;
  for (size_t i = 0, j; i < sectors.size(); i = j) {
    j = RunEnd(sectors, i);
    const int64_t run_end = std::min(bytes, done + int64_t(j - i) * sector_size_);
    const int64_t offset = int64_t{sectors[i]} * sector_size_ - done;
    for (; done < run_end;) {
      const int64_t n = std::min(kIoPiece, run_end - done);
      if (crc) *crc = Crc32(data + done, n, *crc);
      data_.WriteAt(offset + done, data + done, n);
      done += n;
    }
  }
}

int64_t SectorStore::ReadSectors(std::span<const int32_t> sectors, uint8_t* out, int64_t bytes,
                                 uint32_t* crc) const {
  int64_t done = 0;
  for (size_t i = 0, j; i < sectors.size(); i = j) {
    j = RunEnd(sectors, i);
    const int64_t run_end = std::min(bytes, done + int64_t(j - i) * sector_size_);
    const int64_t offset = int64_t{sectors[i]} * sector_size_ - done;
    for (; done < run_end;) {
      const int64_t n = std::min(kIoPiece, run_end - done);
      const int64_t got = data_.ReadAt(offset + done, out + done, n);
      if (crc) *crc = Crc32(out + done, got, *crc);
      done += got;
      if (got < n) return done;
    }
  }
  return done;
}

void SectorStore::MapData() {
  const int64_t size = data_.Size();
  data_view_ = FileMap::MapWindow(data_, 0, size + std::max(size, kDataSlack));
  // Windows maps nothing past a file's end; an unguarded view could kill the process when cut.
  map_data_ = data_view_.IsMapped() && data_view_.Guarded();
  if (!map_data_) data_view_ = FileMap{};
}

bool SectorStore::CopySectors(std::span<const int32_t> sectors, uint8_t* out, int64_t bytes,
                              uint32_t& crc) {
  crc = 0;
  if (map_data_ && (!data_view_.IsMapped() || data_view_.Cut())) MapData();
  if (!map_data_) return ReadSectors(sectors, out, bytes, &crc) == bytes;
  int64_t done = 0;
  for (size_t i = 0, j; done < bytes && i < sectors.size(); i = j) {
    j = RunEnd(sectors, i);
    const int64_t n = std::min(bytes - done, int64_t(j - i) * sector_size_);
    const int64_t at = int64_t{sectors[i]} * sector_size_;
    if (at + n > data_view_.Length()) {
      if (data_view_.Cut()) return false;  // what came from it may be zeros
      MapData();                           // the file has grown past the view
      if (!map_data_ || at + n > data_view_.Length()) return false;
    }
    crc = Crc32Copy(out + done, data_view_.Bytes() + at, static_cast<size_t>(n), crc);
    done += n;
  }
  return done == bytes && !data_view_.Cut();
}

bool SectorStore::DataCrc(std::span<const int32_t> chain, int64_t length, uint32_t& crc) const {
  const int64_t per_piece = std::max<int64_t>(1, kIoPiece / sector_size_);
  std::vector<uint8_t> buf(static_cast<size_t>(std::min(length, per_piece * sector_size_)));
  crc = 0;
  for (size_t i = 0; i < chain.size(); i += per_piece) {
    const auto piece = chain.subspan(i, std::min<size_t>(per_piece, chain.size() - i));
    const int64_t bytes =
        std::min<int64_t>(length - int64_t(i) * sector_size_, int64_t(piece.size()) * sector_size_);
    if (ReadSectors(piece, buf.data(), bytes, &crc) != bytes) return false;
  }
  return true;
}

// --- Operations -------------------------------------------------------------------------------

int32_t SectorStore::Records() {
  OperationLock lock(*this, false);
  Refresh(false, true);
  return records_;
}

void SectorStore::Write(int32_t& rec_id, const uint8_t* data, int64_t length, bool text) {
  Change(rec_id == 0, [&] {
    DirEntry old;
    std::vector<int32_t> old_chain;
    const bool replace = rec_id != 0;
    // A damaged record may be replaced: its old sectors stay until compaction reclaims them.
    const bool old_ok = replace && ReadEntry(rec_id, old);
    const bool chain_ok = old_ok && table_.Walk(old.first, old.length, sector_size_, old_chain);
    const int32_t slot = replace ? rec_id : TakeFreeSlot();
    ++header_.generation;
    if (!old_ok) ++header_.records;
    WriteHeader();

    const int64_t count = (length + sector_size_ - 1) / sector_size_;
    if (count > INT32_MAX) Raise(kErrDiskFull);
    const std::vector<int32_t> chain = table_.Allocate(static_cast<int32_t>(count));
    DirEntry e;
    e.first = chain.empty() ? kNoSectors : chain.front();
    e.flags = text ? kTextFlag : 0;
    e.length = length;
    e.modified = Now();
    WriteSectors(chain, data, length, &e.data_crc);
    WriteTable();
    if (sync_writes) {
      data_.Sync();
      fat_.Sync();
    }
    WriteEntry(slot, e, !replace);
    if (sync_writes) dir_.Sync();
    if (!old_ok) ++records_;
    rec_id = slot;
    if (chain_ok) {
      table_.Free(old_chain);
      WriteTable();
    }
  });
}

DirEntry SectorStore::Read(int32_t rec_id, const std::function<uint8_t*(const DirEntry&)>& buffer) {
  DirEntry unlocked;
  if (ReadUnlocked(rec_id, buffer, unlocked)) return unlocked;
  OperationLock lock(*this, false);
  Refresh(false, false);
  std::vector<int32_t> chain;
  const DirEntry e = CheckedEntry(rec_id, chain);
  uint8_t* out = buffer(e);
  uint32_t crc = 0;
  if (ReadSectors(chain, out, e.length, &crc) != e.length || crc != e.data_crc) {
    RaiseDamaged(rec_id);
  }
  return e;
}

void SectorStore::Delete(int32_t rec_id) {
  Change(false, [&] {
    DirEntry old;
    std::vector<int32_t> old_chain;
    const bool old_ok = ReadEntry(rec_id, old);
    const bool chain_ok = old_ok && table_.Walk(old.first, old.length, sector_size_, old_chain);
    ++header_.generation;
    if (old_ok) header_.records = std::max(0, header_.records - 1);
    WriteHeader();
    WriteEntry(rec_id, DirEntry{});
    if (sync_writes) dir_.Sync();
    if (old_ok) --records_;
    free_slots_.insert(rec_id);
    if (chain_ok) {
      table_.Free(old_chain);
      WriteTable();
    }
  });
}

DirEntry SectorStore::Info(int32_t rec_id) {
  OperationLock lock(*this, false);
  Refresh(false, false);
  DirEntry e;
  if (!ReadEntry(rec_id, e)) RaiseDamaged(rec_id);
  return e;
}

std::vector<int32_t> SectorStore::List() {
  OperationLock lock(*this, false);
  Refresh(false, false);
  std::vector<int32_t> ids;
  ForEachEntry([&ids](int32_t rec_id, bool valid, const DirEntry& e) {
    if (valid && e.InUse()) ids.push_back(rec_id);
  });
  return ids;
}

void SectorStore::Flush() {
  OperationLock lock(*this, false);
  if (read_only_) return;
  data_.Sync();
  fat_.Sync();
  dir_.Sync();
}

// Damaged: an entry that does not check (or lies past the end of a cut file), a chain that does
// not check, a sector that two chains claim, data cut short or with another CRC.
std::vector<int32_t> SectorStore::Verify() {
  OperationLock lock(*this, false);
  Refresh(true, false);
  std::vector<int32_t> damaged;
  std::vector<int32_t> owner(static_cast<size_t>(table_.Sectors()), 0);
  std::vector<int32_t> chain;
  ForEachEntry([&](int32_t rec_id, bool valid, const DirEntry& e) {
    if (valid && !e.InUse()) return;
    bool ok = valid && table_.Walk(e.first, e.length, sector_size_, chain) &&
              !(e.IsText() && e.length % 2 != 0);
    if (ok) {
      for (int32_t s : chain) {
        if (owner[s] != 0) {
          damaged.push_back(owner[s]);
          ok = false;
        }
        owner[s] = rec_id;
      }
    }
    uint32_t crc = 0;
    if (ok && (!DataCrc(chain, e.length, crc) || crc != e.data_crc)) ok = false;
    if (!ok) damaged.push_back(rec_id);
  });
  std::sort(damaged.begin(), damaged.end());
  damaged.erase(std::unique(damaged.begin(), damaged.end()), damaged.end());
  return damaged;
}

}  // namespace kiv
