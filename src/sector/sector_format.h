// The byte layout of the sector store's three files, and the CRC-32 that guards them.
//
// ".QVD" directory, a 64-byte header then one 32-byte entry per slot (RecId k at 64 + 32(k - 1)):
//   header  0 "QVDIR001" | 8 int32 sector size | 12 int32 slots | 16 int32 records in use |
//          20 uint32 generation (raised by every change) | 24 36 reserved bytes (zero) |
//          60 uint32 CRC-32 of bytes 0..59
//   entry   0 int32 first sector (-1 free slot, -2 a record of 0 bytes) | 4 uint32 flags (bit 0:
//          UTF-16 text) | 8 int64 length in bytes | 16 double modified (OLE date) |
//          24 uint32 CRC-32 of the data | 28 uint32 CRC-32 of bytes 0..27
// ".QVF" allocation table: 0 "QVFAT001" | 8 int32 sector size | 12 int32 sectors, then one int32
//   per sector at 16 + 4n: the next sector of its chain, -2 the end of a chain, -1 a free sector.
// ".QVS" sectors: sector n at byte n * sector size, no header.
// Every integer is little-endian.
#pragma once

#include <cstddef>
#include <cstdint>

#include "kivdbxt/types.h"
#include "sector/crc32.h"

namespace kiv::sector {

inline constexpr int64_t kDirHeaderSize = 64;
inline constexpr int64_t kEntrySize = 32;
inline constexpr int64_t kFatHeaderSize = 16;

// Values of the allocation table.
inline constexpr int32_t kFreeSector = -1;
inline constexpr int32_t kEndOfChain = -2;
// First sector of an entry.
inline constexpr int32_t kFreeSlot = -1;
inline constexpr int32_t kNoSectors = -2;  // a record of 0 bytes: its chain ends at once

inline constexpr uint32_t kTextFlag = 1;

inline constexpr int32_t kMinSectorSize = 128;
inline constexpr int32_t kMaxSectorSize = 65536;

struct DirHeader {
  int32_t sector_size = 0;
  int32_t slots = 0;
  int32_t records = 0;
  uint32_t generation = 0;
};

struct DirEntry {
  int32_t first = kFreeSlot;
  uint32_t flags = 0;
  int64_t length = 0;
  Date modified = 0;
  uint32_t data_crc = 0;

  bool InUse() const { return first != kFreeSlot; }
  bool IsText() const { return (flags & kTextFlag) != 0; }
};

struct FatHeader {
  int32_t sector_size = 0;
  int32_t sectors = 0;
};

void EncodeDirHeader(const DirHeader& header, uint8_t out[kDirHeaderSize]);
// False when the magic or the CRC does not check.
bool DecodeDirHeader(const uint8_t in[kDirHeaderSize], DirHeader& header);

void EncodeEntry(const DirEntry& entry, uint8_t out[kEntrySize]);
// False when the entry's own CRC does not check (a torn or damaged entry).
bool DecodeEntry(const uint8_t in[kEntrySize], DirEntry& entry);

void EncodeFatHeader(const FatHeader& header, uint8_t out[kFatHeaderSize]);
// False when the magic does not check.
bool DecodeFatHeader(const uint8_t in[kFatHeaderSize], FatHeader& header);

bool ValidSectorSize(int32_t size);

inline int64_t EntryOffset(int32_t rec_id) { return kDirHeaderSize + kEntrySize * (rec_id - 1); }
inline int64_t FatOffset(int32_t sector) { return kFatHeaderSize + 4 * int64_t{sector}; }

}  // namespace kiv::sector
