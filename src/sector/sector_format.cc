#include "sector/sector_format.h"

#include <bit>
#include <cstring>

namespace kiv::sector {
namespace {

constexpr char kDirMagic[8] = {'Q', 'V', 'D', 'I', 'R', '0', '0', '1'};
constexpr char kFatMagic[8] = {'Q', 'V', 'F', 'A', 'T', '0', '0', '1'};

void Put32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
void Put64(uint8_t* p, uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint32_t Get32(const uint8_t* p) {
  uint32_t v = 0;
  for (int i = 3; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}
uint64_t Get64(const uint8_t* p) {
  uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}

}  // namespace

void EncodeDirHeader(const DirHeader& h, uint8_t out[kDirHeaderSize]) {
  std::memset(out, 0, kDirHeaderSize);
  std::memcpy(out, kDirMagic, 8);
  Put32(out + 8, static_cast<uint32_t>(h.sector_size));
  Put32(out + 12, static_cast<uint32_t>(h.slots));
  Put32(out + 16, static_cast<uint32_t>(h.records));
  Put32(out + 20, h.generation);
  Put32(out + 60, Crc32(out, 60));
}

bool DecodeDirHeader(const uint8_t in[kDirHeaderSize], DirHeader& h) {
  if (std::memcmp(in, kDirMagic, 8) != 0 || Get32(in + 60) != Crc32(in, 60)) return false;
  h.sector_size = static_cast<int32_t>(Get32(in + 8));
  h.slots = static_cast<int32_t>(Get32(in + 12));
  h.records = static_cast<int32_t>(Get32(in + 16));
  h.generation = Get32(in + 20);
  return true;
}

void EncodeEntry(const DirEntry& e, uint8_t out[kEntrySize]) {
  Put32(out, static_cast<uint32_t>(e.first));
  Put32(out + 4, e.flags);
  Put64(out + 8, static_cast<uint64_t>(e.length));
  Put64(out + 16, std::bit_cast<uint64_t>(e.modified));
  Put32(out + 24, e.data_crc);
  Put32(out + 28, Crc32(out, 28));
}

bool DecodeEntry(const uint8_t in[kEntrySize], DirEntry& e) {
  if (Get32(in + 28) != Crc32(in, 28)) return false;
  e.first = static_cast<int32_t>(Get32(in));
  e.flags = Get32(in + 4);
  e.length = static_cast<int64_t>(Get64(in + 8));
  e.modified = std::bit_cast<double>(Get64(in + 16));
  e.data_crc = Get32(in + 24);
  return true;
}

void EncodeFatHeader(const FatHeader& h, uint8_t out[kFatHeaderSize]) {
  std::memcpy(out, kFatMagic, 8);
  Put32(out + 8, static_cast<uint32_t>(h.sector_size));
  Put32(out + 12, static_cast<uint32_t>(h.sectors));
}

bool DecodeFatHeader(const uint8_t in[kFatHeaderSize], FatHeader& h) {
  if (std::memcmp(in, kFatMagic, 8) != 0) return false;
  h.sector_size = static_cast<int32_t>(Get32(in + 8));
  h.sectors = static_cast<int32_t>(Get32(in + 12));
  return true;
}

bool ValidSectorSize(int32_t size) {
  return size >= kMinSectorSize && size <= kMaxSectorSize && std::has_single_bit(uint32_t(size));
}

}  // namespace kiv::sector
