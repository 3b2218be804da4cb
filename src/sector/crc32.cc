// Where the processor multiplies without carries on 512-bit registers, inputs of a few hundred
// bytes and more are folded 256 bytes at a time; everything else goes to libdeflate (zlib in the
// Windows build), whose own carry-less code stops at 128-bit registers.
#include "sector/crc32.h"

#if defined(KIV_CRC32_LIBDEFLATE)
#include <libdeflate.h>
#else
#include <zlib.h>
#endif

#include <cstring>

// Not in the Windows build: its compiler does not align the stack for 512-bit spills.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(_WIN32)
#define KIV_CRC32_FOLD 1
#include <immintrin.h>
#endif

namespace kiv::sector {
namespace {

uint32_t Plain(const void* data, size_t size, uint32_t crc) {
#if defined(KIV_CRC32_LIBDEFLATE)
  return libdeflate_crc32(crc, data, size);
#else
  return static_cast<uint32_t>(crc32_z(crc, static_cast<const Bytef*>(data), size));
#endif
}

#if defined(KIV_CRC32_FOLD)

// --- The folding constants --------------------------------------------------------------------
//
// The CRC is the remainder mod P of the message, read as a polynomial whose first bit is of the
// highest degree, times x^32. In zlib's bit order bit i of a 32-bit remainder is the coefficient
// of x^(31-i): multiplying by x shifts right, and the x^32 that falls off is P's lower terms.
constexpr uint32_t kReversedP = 0xEDB88320;

constexpr uint64_t XPowerModP(int n) {
  uint32_t r = 0x80000000;  // x^0
  for (int i = 0; i < n; ++i) r = (r >> 1) ^ ((r & 1) ? kReversedP : 0);
  return r;
}

// A 16-byte lane of input is H x^64 + L, H its first 8 bytes. With D more bits of input after
// it, it may be replaced by H x^(D+64) + L x^D (equal mod P) added to the lane D bits on. The
// carry-less product of two 64-bit values in this bit order is their product times x, and a
// remainder in a multiplier's low 32 bits stands for itself times x^32: so H is multiplied by
// x^(D+31) mod P and L by x^(D-33) mod P, each product a whole lane again.
struct FoldBy {
  uint64_t first;   // multiplies H, the lane's low 64 bits
  uint64_t second;  // multiplies L
};

constexpr FoldBy Fold(int bits) { return {XPowerModP(bits + 31), XPowerModP(bits - 33)}; }

constexpr FoldBy kBy4Zmm = Fold(4 * 512);  // four registers on, in the main loop
constexpr FoldBy kByZmm = Fold(512);
constexpr FoldBy kByLane = Fold(128);

constexpr size_t kFoldedFrom = 256;  // shorter inputs: Plain

#define KIV_FOLD_TARGET __attribute__((target("avx512f,avx512vl,vpclmulqdq,pclmul")))

KIV_FOLD_TARGET inline __m512i Wide(FoldBy k) {
  const auto first = static_cast<long long>(k.first), second = static_cast<long long>(k.second);
  return _mm512_set_epi64(second, first, second, first, second, first, second, first);
}

// Lane kLane of x (the unmasked extract leaves GCC 12 warning about its undefined fill).
template <int kLane>
KIV_FOLD_TARGET inline __m128i Lane(__m512i x) {
  return _mm512_maskz_extracti32x4_epi32(0xF, x, kLane);  // an immediate, also unoptimized
}

// x folded onto next, lane by lane.
KIV_FOLD_TARGET inline __m512i FoldOnto(__m512i x, __m512i k, __m512i next) {
  return _mm512_ternarylogic_epi64(_mm512_clmulepi64_epi128(x, k, 0x00),
                                   _mm512_clmulepi64_epi128(x, k, 0x11), next, 0x96);
}

KIV_FOLD_TARGET inline __m128i FoldOnto(__m128i x, __m128i k, __m128i next) {
  return _mm_ternarylogic_epi64(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11),
                                next, 0x96);
}

template <bool kCopy>
KIV_FOLD_TARGET inline __m512i Load64(uint8_t* to, const uint8_t* from, size_t at) {
  const __m512i v = _mm512_loadu_si512(from + at);
  if constexpr (kCopy) _mm512_storeu_si512(to + at, v);
  return v;
}

template <bool kCopy>
KIV_FOLD_TARGET inline __m128i Load16(uint8_t* to, const uint8_t* from, size_t at) {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + at));
  if constexpr (kCopy) _mm_storeu_si128(reinterpret_cast<__m128i*>(to + at), v);
  return v;
}

// At least kFoldedFrom bytes. Four registers take 256 bytes per round, independent of each other
// so that the multiplies overlap; they are folded into one, that one into a lane, and the lane's
// 16 bytes and the last few of the input go to Plain.
template <bool kCopy>
KIV_FOLD_TARGET uint32_t Folded(uint8_t* to, const uint8_t* from, size_t size, uint32_t crc) {
  // The remainder so far goes into the first 32 bits of the input.
  __m512i x0 = _mm512_xor_si512(Load64<kCopy>(to, from, 0),
                                _mm512_zextsi128_si512(_mm_cvtsi32_si128(static_cast<int>(~crc))));
  __m512i x1 = Load64<kCopy>(to, from, 64);
  __m512i x2 = Load64<kCopy>(to, from, 128);
  __m512i x3 = Load64<kCopy>(to, from, 192);
  size_t at = 256;
  const __m512i by4 = Wide(kBy4Zmm);
  for (; at + 256 <= size; at += 256) {
    x0 = FoldOnto(x0, by4, Load64<kCopy>(to, from, at));
    x1 = FoldOnto(x1, by4, Load64<kCopy>(to, from, at + 64));
    x2 = FoldOnto(x2, by4, Load64<kCopy>(to, from, at + 128));
    x3 = FoldOnto(x3, by4, Load64<kCopy>(to, from, at + 192));
  }
  const __m512i by1 = Wide(kByZmm);
  __m512i x = FoldOnto(FoldOnto(FoldOnto(x0, by1, x1), by1, x2), by1, x3);
  for (; at + 64 <= size; at += 64) x = FoldOnto(x, by1, Load64<kCopy>(to, from, at));

  const __m128i by_lane =
      _mm_set_epi64x(static_cast<long long>(kByLane.second), static_cast<long long>(kByLane.first));
  __m128i lane = Lane<0>(x);
  lane = FoldOnto(lane, by_lane, Lane<1>(x));
  lane = FoldOnto(lane, by_lane, Lane<2>(x));
  lane = FoldOnto(lane, by_lane, Lane<3>(x));
  for (; at + 16 <= size; at += 16) lane = FoldOnto(lane, by_lane, Load16<kCopy>(to, from, at));

  // The lane's remainder is its 16 bytes' CRC from a remainder of 0 (zlib's crc ~0).
  uint8_t bytes[16];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), lane);
  if constexpr (kCopy) std::memcpy(to + at, from + at, size - at);
  return Plain(from + at, size - at, Plain(bytes, sizeof bytes, ~uint32_t{0}));
}

bool ProcessorFolds() {
  __builtin_cpu_init();  // this runs as a static initializer, perhaps before libgcc's own
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("vpclmulqdq");
}
const bool kFolds = ProcessorFolds();

#endif  // KIV_CRC32_FOLD

}  // namespace

uint32_t Crc32(const void* data, size_t size, uint32_t crc) {
#if defined(KIV_CRC32_FOLD)
  if (size >= kFoldedFrom && kFolds) {
    return Folded<false>(nullptr, static_cast<const uint8_t*>(data), size, crc);
  }
#endif
  return Plain(data, size, crc);
}

uint32_t Crc32Copy(void* to, const void* from, size_t size, uint32_t crc) {
#if defined(KIV_CRC32_FOLD)
  if (size >= kFoldedFrom && kFolds) {
    return Folded<true>(static_cast<uint8_t*>(to), static_cast<const uint8_t*>(from), size, crc);
  }
#endif
  std::memcpy(to, from, size);
  return Plain(from, size, crc);
}

}  // namespace kiv::sector
