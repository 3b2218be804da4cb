// KivSector: a small record store in three files beside each other. Records are numbered from 1
// (RecId) and hold text or bytes of any length, kept in fixed-size sectors chained through an
// allocation table.
//
//   base + ".QVD"  directory: a 64-byte header, then one 32-byte entry per record slot
//   base + ".QVF"  allocation table: a 16-byte header, then the next sector of each sector
//   base + ".QVS"  sectors: sector n at byte n * SectorSize
//
// Writes are copy-on-write: a crash at any moment leaves every record whole, old or new. Several
// processes may use one store at once; each operation locks the directory file for its duration
// (shared for reads, exclusive for changes), waiting about a second for a busy store before it
// fails with error 70.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "kivdbxt/collection.h"
#include "kivdbxt/export.h"
#include "kivdbxt/types.h"
#include "kivdbxt/variant.h"

namespace kiv {

// The open store (library-internal).
class SectorStore;

// Every operation returns True when it failed; the error is then recorded (kiv::LastErrorRecord)
// with Source "KivSector." + the operation's name. The store's own errors are 20000:
//   "Il file <name> esiste già."                    SectorCreate, one of the files exists
//   "Il file <name> non è un archivio di settori."  SectorOpen, a wrong or damaged header
//   "Il record <n> non esiste."                     a free or out-of-range RecId
//   "Il record <n> è danneggiato."                  a record whose chain or CRC does not check
//   "Archivio di settori non aperto."               an operation before SectorOpen
// Changes on a store opened ReadOnly fail with error 54 "Bad file mode".
class KIV_API KivSector : public Object {
 public:
  // A KivSector with no store open.
  KivSector();
  // Closes the store if it is still open.
  ~KivSector() override;
  KivSector(const KivSector&) = delete;
  KivSector& operator=(const KivSector&) = delete;

  // Creates the three empty files of FileName (the base name; a name ending in ".QVD", ".QVF" or
  // ".QVS" stands for its base name). SectorSize is a power of two from 128 to 65536. Does not
  // open the store.
  bool SectorCreate(const String& FileName, int32_t SectorSize = 512);
  // Opens the three files and keeps them until SectorClose (an open store is closed first).
  bool SectorOpen(const String& FileName, bool ReadOnly = false);
  // Closes the files; closing a store that is not open does nothing.
  bool SectorClose();

  // RecId 0 adds a record in the lowest free slot and stores its number in RecId; any other
  // RecId replaces that record. Text is kept as UTF-16 (any character, exactly as given); bytes
  // as they are. A Variant holds a String or a byte array.
  bool SectorWrite(int32_t& RecId, const String& Data);
  bool SectorWrite(int32_t& RecId, const char16_t* Data);
  bool SectorWrite(int32_t& RecId, const std::vector<uint8_t>& Data);
  bool SectorWrite(int32_t& RecId, const Variant& Data);
  // Data receives the record exactly as written. Read as a String, a record written as bytes
  // gives one character per byte; read as bytes, a text record gives its UTF-16LE bytes. The
  // Variant form gives a String for text and a byte array for bytes.
  bool SectorRead(int32_t RecId, String& Data);
  bool SectorRead(int32_t RecId, std::vector<uint8_t>& Data);
  bool SectorRead(int32_t RecId, Variant& Data);
  // Frees the record's slot and its sectors.
  bool SectorDelete(int32_t RecId);
  // The record's size in bytes (a text record: two per character) and its last change.
  bool SectorInfo(int32_t RecId, int64_t& Length, Date& Modified);
  // Empties RetIds and fills it with the numbers (Long) of the records in use, ascending.
  bool SectorList(const std::shared_ptr<Collection>& RetIds);
  // Makes every change so far durable (fdatasync of the three files).
  bool SectorFlush();
  // Frees sectors no record reaches (left by a crash), moves records down into free sectors and
  // cuts the files. Other processes wait for it, and may time out on a large store.
  bool SectorCompact();
  // Checks every record: its entry, its chain and the CRC of its data. Empties Damaged and
  // fills it with the numbers of the damaged records; False when the walk was made, whatever it
  // found.
  bool SectorVerify(const std::shared_ptr<Collection>& Damaged);

  // The base name of the open store ("" when closed).
  String FileName() const;
  // The open store's sector size in bytes (0 when closed).
  int32_t SectorSize() const;
  // The number of records in use, as the files hold it now (0, and the error recorded, when
  // the store is not open).
  int32_t Records() const;
  // True appends one line per operation to the host program's name + ".log" in the default log
  // folder: time with milliseconds, process id, operation, arguments, result and error.
  bool Debug() const;
  void Debug(bool value);
  // True makes data and chain durable before the entry that commits them, and the entry before
  // the operation returns.
  bool SyncWrites() const;
  void SyncWrites(bool value);

 private:
  std::unique_ptr<SectorStore> store_;
  bool debug_ = false;
  bool sync_writes_ = false;
};

}  // namespace kiv
