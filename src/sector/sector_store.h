// The open sector store: its three files, the locks every operation takes, and the allocation
// state cached between operations. Operations raise kiv::Error; KivSector records them.
//
// A change runs under the exclusive lock in this order: new directory slots (free entries past
// the header's count), the header with a new generation, the data in free sectors, their chain,
// the entry (the commit point), the old chain marked free. Other processes see the new
// generation and reload their cached state, also after a writer died half way.
//
// A read first goes without a lock: the header and the entry come from a shared mapping of the
// ".QVD", the chain from the cached table (or, when another process changed the store since it
// was loaded, from a shared mapping of the ".QVF", so that readers never reload the whole table),
// the data copied from a shared mapping of the ".QVS" (one pread per run of sectors where the
// system maps nothing). The result stands when the header shows the same generation afterwards,
// both CRCs check and no mapped page was found cut (a change raises the generation before it
// touches any entry, sector or chain). Otherwise it reads again under the shared lock, with pread.
// Every open store holds a shared flock on the ".QVS" until it closes (its lease on the
// mappings): compaction cuts the ".QVD" and the ".QVF" only when it can turn its own lease
// exclusive, since a mapped page past the end of a file cannot be read. The ".QVS" is cut
// whatever other stores hold: its view is guarded (platform/file_map.h), so a page cut from under
// it reads as zeros and marks the view cut, the read goes on under the lock, and the next read
// without one maps the file again. The view reaches well past the file's end, so that sectors
// that other processes add are in it without a new mapping.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <span>
#include <vector>

#include "platform/file.h"
#include "platform/file_map.h"
#include "sector/allocation_table.h"
#include "sector/sector_format.h"

namespace kiv {

class SectorStore {
 public:
  // Creates the three files of an empty store; raises "esiste già" when one of them exists.
  static void Create(const String& base, int32_t sector_size);
  SectorStore(const String& base, bool read_only);

  const String& Base() const { return base_; }
  int32_t SectorSize() const { return sector_size_; }
  bool sync_writes = false;
  // Where KivSector reads a record, copied once from the file: on success the buffer goes to the
  // caller in exchange for the caller's own, so a failed read leaves the caller's data as it was
  // and a run of reads allocates nothing.
  std::vector<uint8_t> read_bytes;
  String read_text;

  int32_t Records();
  // rec_id 0 adds a record and receives its number.
  void Write(int32_t& rec_id, const uint8_t* data, int64_t length, bool text);
  // Reads the record into the buffer that `buffer` returns for its entry (length bytes).
  sector::DirEntry Read(int32_t rec_id,
                        const std::function<uint8_t*(const sector::DirEntry&)>& buffer);
  void Delete(int32_t rec_id);
  sector::DirEntry Info(int32_t rec_id);
  std::vector<int32_t> List();
  void Flush();
  void Compact();
  std::vector<int32_t> Verify();

 private:
  class OperationLock;
  // What a pass over the directory reports for a slot: valid is false for a damaged entry or
  // one past the end of the file.
  using EntryVisitor = std::function<void(int32_t rec_id, bool valid, const sector::DirEntry&)>;

  // Runs a change under the exclusive lock, with the table and (with slots) the free slots
  // loaded; a failure drops the cached state.
  void Change(bool slots, const std::function<void()>& body);
  // Brings the cached header up to the file's; with table, also the allocation table; with
  // slots, also the free slots and the count of records.
  void Refresh(bool table, bool slots);
  // Maps the ".QVD" (or the ".QVF") as long as it is now.
  void MapDirectory();
  void MapTable();
  // The chain of an entry of the header's generation `generation`: through the cached table when
  // it is of that generation, else through the mapped table. False when it does not check.
  bool CurrentChain(uint32_t generation, const sector::DirEntry& entry,
                    std::vector<int32_t>& chain);
  bool MappedChain(const sector::DirEntry& entry, std::vector<int32_t>& chain);
  // The header and an entry as the mapping shows them; false when torn, damaged, not mapped or
  // cut from the file. CurrentHeader maps the file again before it gives up.
  bool CurrentHeader(sector::DirHeader& header);
  bool MappedHeader(sector::DirHeader& header) const;
  bool MappedEntry(int32_t rec_id, sector::DirEntry& entry) const;
  // The read without a lock; false when its result cannot be trusted.
  bool ReadUnlocked(int32_t rec_id, const std::function<uint8_t*(const sector::DirEntry&)>& buffer,
                    sector::DirEntry& entry);
  // The ".QVF" header in bytes, when it decodes and is of this store's sector size.
  bool OwnTableHeader(const uint8_t* bytes, sector::FatHeader& header) const;
  void LoadTable();
  void ScanDirectory();
  void ForEachEntry(const EntryVisitor& visit) const;

  // The entry of rec_id: raises "non esiste" for a free slot or one out of range; false for a
  // damaged entry.
  bool ReadEntry(int32_t rec_id, sector::DirEntry& entry);
  // The entry and its chain, checked; raises "danneggiato" when either does not check.
  sector::DirEntry CheckedEntry(int32_t rec_id, std::vector<int32_t>& chain);
  int32_t TakeFreeSlot();
  void WriteHeader();
  void WriteEntry(int32_t rec_id, const sector::DirEntry& entry, bool through_view = false);
  void WriteTable();
  void RequireWritable() const;
  void RequireWholeTable();

  // Data of consecutive chain positions, in bounded pieces, one call per run of consecutive
  // sectors. Both continue crc when given one; ReadSectors returns the bytes found.
  void WriteSectors(std::span<const int32_t> sectors, const uint8_t* data, int64_t bytes,
                    uint32_t* crc);
  int64_t ReadSectors(std::span<const int32_t> sectors, uint8_t* out, int64_t bytes,
                      uint32_t* crc) const;
  // The same bytes and their CRC for a read without a lock, copied from the view of the ".QVS"
  // (MapData maps it); false when they are cut short or a page of the view was found cut.
  bool CopySectors(std::span<const int32_t> sectors, uint8_t* out, int64_t bytes, uint32_t& crc);
  void MapData();
  // The record's data CRC as it is on disk; false when the data is cut short.
  bool DataCrc(std::span<const int32_t> chain, int64_t length, uint32_t& crc) const;

  // Compaction steps (sector_compact.cc).
  void FreeUnreachable(const std::vector<std::pair<int32_t, sector::DirEntry>>& records);
  void MoveDown(int32_t rec_id, sector::DirEntry entry, int32_t target);
  void CutFiles(int32_t sectors);
  void CutMapped(int64_t table_length, int64_t directory_length);

  [[noreturn]] void RaiseDamaged(int32_t rec_id) const;
  [[noreturn]] void RaiseMissing(int32_t rec_id) const;

  String base_;
  bool read_only_;
  int32_t sector_size_ = 0;
  File dir_, fat_, data_;
  FileMap view_;          // the ".QVD", safe to read while data_ holds the lease
  FileMap table_view_;    // the ".QVF", mapped at the first read that needs it
  FileMap data_view_;     // the ".QVS", mapped at the first read without a lock
  bool map_data_ = true;  // false where the system maps nothing: pread instead

  // Cached state, valid while the header's generation is header_.generation.
  bool valid_ = false;
  sector::DirHeader header_;
  bool table_known_ = false;
  bool table_cut_ = false;  // the ".QVF" held fewer entries than its header counts
  sector::AllocationTable table_;
  bool slots_known_ = false;
  std::set<int32_t> free_slots_;
  int32_t records_ = 0;
  std::vector<int32_t> read_chain_;  // reused by reads without a lock
  uint32_t changes_ = 0;             // counts the turns of OperationLock
};

// The messages of the store.
String StoreExistsMessage(const String& file);
String NotAStoreMessage(const String& file);
String MissingRecordMessage(int32_t rec_id);
String DamagedRecordMessage(int32_t rec_id);
String NotOpenMessage();

// The three file names of a base name; a name given with one of the extensions stands for its
// base name.
String StoreBase(const String& file_name);
String DirectoryFile(const String& base);
String TableFile(const String& base);
String SectorsFile(const String& base);

}  // namespace kiv
