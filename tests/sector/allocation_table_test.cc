// The free sectors across word boundaries: lowest first, counted, and none past a cut table.
#include "sector/allocation_table.h"

#include <gtest/gtest.h>

#include "sector/sector_format.h"

namespace kiv::sector {
namespace {

using Chain = std::vector<int32_t>;

TEST(AllocationTable, TakesTheLowestFreeSectorsAndForgetsThosePastACut) {
  // 130 sectors in use but 3, 63, 64 and 129: free sectors on both sides of word boundaries.
  std::vector<int32_t> next(130, kEndOfChain);
  for (int32_t s : {3, 63, 64, 129}) next[s] = kFreeSector;
  AllocationTable table;
  table.Load(next);
  ASSERT_EQ(table.FreeCount(), 4);

  EXPECT_EQ(table.Allocate(3), (Chain{3, 63, 64}));
  EXPECT_EQ(table.Next(3), 63);
  EXPECT_EQ(table.Next(64), kEndOfChain);
  EXPECT_EQ(table.FreeCount(), 1);
  // One free sector left: the table grows by at least 16 for the second one.
  EXPECT_EQ(table.Allocate(2), (Chain{129, 130}));
  EXPECT_EQ(table.Sectors(), 146);
  EXPECT_EQ(table.FreeCount(), 15);
  EXPECT_TRUE(table.TakeResized());

  // Freed below the last allocation: taken again first, and a sector freed twice counts once.
  table.Free({64, 3});
  table.Free({64});
  EXPECT_EQ(table.FreeCount(), 17);
  EXPECT_EQ(table.Allocate(1), (Chain{3}));

  // Cut inside a word: the free sectors past the cut are gone, and growth starts at the cut.
  table.Shrink(131);
  EXPECT_EQ(table.Sectors(), 131);
  EXPECT_EQ(table.FreeCount(), 1);  // 64
  EXPECT_EQ(table.Allocate(2), (Chain{64, 131}));
  EXPECT_EQ(table.Next(64), 131);
  EXPECT_EQ(table.FreeCount(), 15);
}

}  // namespace
}  // namespace kiv::sector
