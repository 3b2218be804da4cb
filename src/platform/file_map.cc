// The views' moves and stores, the same on every system; posix/ and win32/ make, drop and guard
// them.
#include "platform/file_map.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <cstring>
#include <utility>

namespace kiv {

namespace {

#if defined(__x86_64__)
__attribute__((target("avx"))) void Store32(uint8_t* at, const void* in) {
  _mm256_store_si256(reinterpret_cast<__m256i*>(at),
                     _mm256_loadu_si256(static_cast<const __m256i*>(in)));
}

__attribute__((target("avx512f"))) void Store64(uint8_t* at, const void* in) {
  _mm512_store_si512(at, _mm512_loadu_si512(in));
}

bool StoreOnce(uint8_t* at, const void* in, size_t n) {
  static const bool avx = __builtin_cpu_supports("avx");
  static const bool avx512 = __builtin_cpu_supports("avx512f");
  if (n == 32 && avx) {
    Store32(at, in);
    return true;
  }
  if (n == 64 && avx512) {
    Store64(at, in);
    return true;
  }
  return false;
}
#else
bool StoreOnce(uint8_t*, const void*, size_t) { return false; }
#endif

}  // namespace

FileMap::FileMap(FileMap&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      offset_(std::exchange(other.offset_, 0)),
      length_(std::exchange(other.length_, 0)),
      writable_(std::exchange(other.writable_, false)),
      guard_(std::exchange(other.guard_, -1)) {}

FileMap& FileMap::operator=(FileMap&& other) noexcept {
  if (this != &other) {
    Unmap();
    data_ = std::exchange(other.data_, nullptr);
    offset_ = std::exchange(other.offset_, 0);
    length_ = std::exchange(other.length_, 0);
    writable_ = std::exchange(other.writable_, false);
    guard_ = std::exchange(other.guard_, -1);
  }
  return *this;
}

FileMap::~FileMap() { Unmap(); }

bool FileMap::Copy(int64_t offset, void* out, size_t n) const {
  if (offset < 0 || offset + static_cast<int64_t>(n) > length_) return false;
  std::memcpy(out, data_ + offset, n);
  return !Cut();
}

bool FileMap::Store(int64_t offset, const void* in, size_t n) {
  if (!writable_ || offset < 0 || offset + static_cast<int64_t>(n) > length_) return false;
  std::memcpy(data_ + offset, in, n);
  return !Cut();
}

bool FileMap::StoreWhole(int64_t offset, const void* in, size_t n) {
  if (!writable_ || offset < 0 || offset % static_cast<int64_t>(n) != 0 ||
      offset + static_cast<int64_t>(n) > length_) {
    return false;
  }
  return StoreOnce(data_ + offset, in, n) && !Cut();
}

}  // namespace kiv
