// What the sector store's tests share: a fresh store in a temporary folder, and the files' bytes
// written out independently of the library's own codec.
#pragma once

#include <gtest/gtest.h>
#if !defined(_WIN32)
#include <fcntl.h>
#endif
#include <zlib.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>

#include "kivdbxt/kivdbxt.h"
#include "platform/file.h"
#include "support/in_child.h"
#include "support/last_error.h"
#include "support/temp_dir.h"

namespace kiv::testing {

using kivtest::Check;
using kivtest::LastErrorIs;
#if !defined(_WIN32)
using kivtest::InChild;
#endif

inline std::string Le32(uint32_t v) {
  std::string s(4, '\0');
  for (int i = 0; i < 4; ++i) s[i] = static_cast<char>(v >> (8 * i));
  return s;
}
inline std::string Le64(uint64_t v) { return Le32(uint32_t(v)) + Le32(uint32_t(v >> 32)); }
inline uint32_t Crc(const std::string& bytes) {
  return static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}
inline int32_t Get32(const std::string& bytes, size_t at) {
  uint32_t v;
  std::memcpy(&v, bytes.data() + at, 4);
  return static_cast<int32_t>(v);
}

// Replaces a file's bytes in place. Unlike emptying and rewriting it, this does not make the file
// system write the file out at once, which would slow tests that damage files many times.
inline void Overwrite(const std::string& path, const std::string& bytes) {
  File file = File::OpenNative(path, OpenOptions{Access::Write, true});
  file.WriteAt(0, bytes.data(), bytes.size());
  file.Truncate(static_cast<int64_t>(bytes.size()));
}

// A 64-byte directory header and a 32-byte entry, each with its CRC.
inline std::string DirHeaderBytes(int32_t sector_size, int32_t slots, int32_t records,
                                  uint32_t generation) {
  std::string h = "QVDIR001" + Le32(sector_size) + Le32(slots) + Le32(records) + Le32(generation) +
                  std::string(36, '\0');
  return h + Le32(Crc(h));
}
inline std::string EntryBytes(int32_t first, uint32_t flags, int64_t length, double modified,
                              uint32_t data_crc) {
  std::string e = Le32(first) + Le32(flags) + Le64(length) +
                  Le64(std::bit_cast<uint64_t>(modified)) + Le32(data_crc);
  return e + Le32(Crc(e));
}
inline std::string FreeEntryBytes() { return EntryBytes(-1, 0, 0, 0, 0); }

// UTF-16LE bytes of a text.
inline std::string Utf16Bytes(const String& text) {
  return std::string(reinterpret_cast<const char*>(text.data()), text.size() * 2);
}
inline std::vector<uint8_t> ToVector(const std::string& s) { return {s.begin(), s.end()}; }

class SectorTest : public ::testing::Test {
 protected:
  kivtest::TempDir dir;
  const String base = dir.File("store");
  std::string File(const char* ext) const { return dir.FileU8(std::string("store") + ext); }

  // A new store, open.
  void CreateOpen(KivSector& s, int32_t sector_size = 512) {
    ASSERT_FALSE(s.SectorCreate(base, sector_size)) << ToUtf8(LastErrorRecord().Description);
    ASSERT_FALSE(s.SectorOpen(base)) << ToUtf8(LastErrorRecord().Description);
  }
};

// How many records SectorVerify names as damaged; -1 when the verification itself fails.
inline int32_t DamagedCount(KivSector& s) {
  auto damaged = std::make_shared<Collection>();
  return s.SectorVerify(damaged) ? -1 : damaged->Count();
}

// The last recorded error is the store's own, with this Source and text.
inline void ExpectError(const char16_t* source, const String& description) {
  kivtest::ExpectLastError(20000, source, description);
}

}  // namespace kiv::testing
