// The store's CRC-32 against zlib's: every length through the folded rounds, their tails and a
// few large inputs, at every start alignment, continued from a CRC other than 0; the copying form
// copies exactly the input's bytes.
#include "sector/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <string>
#include <vector>

namespace kiv::sector {
namespace {

TEST(Crc32, EqualsZlibsAtEveryLengthAndAlignmentAndCopiesExactly) {
  std::vector<size_t> lengths;
  for (size_t n = 0; n <= 1100; ++n) lengths.push_back(n);
  for (size_t n : {4096, 65536 + 17, 1 << 20}) lengths.push_back(n);
  std::mt19937 random(23);
  std::vector<uint8_t> input(lengths.back() + 64), copy(input.size() + 1);
  for (uint8_t& b : input) b = static_cast<uint8_t>(random());

  std::string failures;  // the first few
  for (size_t n : lengths) {
    for (size_t align = 0; align < 64; ++align) {
      const uint8_t* from = input.data() + align;
      const auto start = static_cast<uint32_t>(random());
      const auto want = static_cast<uint32_t>(crc32_z(start, from, n));
      const auto fail = [&](const char* which) {
        if (failures.size() < 500)
          failures += which + std::to_string(n) + " at " + std::to_string(align) + "; ";
      };
      if (Crc32(from, n, start) != want) fail("Crc32 ");
      // The copy lands at another alignment, before a byte that must stay as it is.
      uint8_t* to = copy.data() + (64 - align) % 64;
      to[n] = 0x5A;
      if (Crc32Copy(to, from, n, start) != want) fail("Crc32Copy ");
      if (!std::equal(from, from + n, to) || to[n] != 0x5A) fail("copy ");
    }
  }
  EXPECT_EQ(failures, "");
}

}  // namespace
}  // namespace kiv::sector
